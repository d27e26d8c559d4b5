#include "output/display_width.h"

#include <utf8proc.h>

namespace vexa::tool {

namespace {

// The columns of the character at `at`, moving past it. A byte that starts
// no valid sequence is a character of its own, one column wide, as a
// terminal shows it.
std::size_t next_character_width(std::string const& text, std::size_t& at) {
    utf8proc_int32_t code = 0;
    auto const length =
        utf8proc_iterate(reinterpret_cast<utf8proc_uint8_t const*>(text.data() + at),
                         static_cast<utf8proc_ssize_t>(text.size() - at), &code);
    if (length <= 0) {
        ++at;
        return 1;
    }
    at += static_cast<std::size_t>(length);
    return static_cast<std::size_t>(utf8proc_charwidth(code));
}

}  // namespace

std::size_t display_width(std::string const& text) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size();) {
        width += next_character_width(text, at);
    }
    return width;
}

std::string display_prefix(std::string const& text, std::size_t width) {
    std::size_t used = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t next = at;
        std::size_t const w = next_character_width(text, next);
        if (used + w > width) {
            break;
        }
        used += w;
        at = next;
    }
    return text.substr(0, at);
}

}  // namespace vexa::tool
