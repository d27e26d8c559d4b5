#include "display_width.h"

#include <cstdint>

namespace vexa::tool {

namespace {

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

// Zero-width code points: combining marks, zero-width spaces and joiners,
// variation selectors.
constexpr Range kZeroWidth[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A},
    {0x064B, 0x065F}, {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F},
    {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xE0100, 0xE01EF},
};

// East Asian wide and full-width code points, and the emoji blocks.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},
    {0x23F0, 0x23F3},   {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},
    {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},
    {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F5},   {0x26FA, 0x26FD},
    {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},   {0x274C, 0x274C},
    {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},   {0x27B0, 0x27B0},
    {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},   {0x2E80, 0x303E},
    {0x3041, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},
    {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},
    {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x16FE0, 0x18AFF},
    {0x1B000, 0x1B2FF}, {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E},
    {0x1F191, 0x1F19A}, {0x1F200, 0x1F251}, {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF},
    {0x1F7E0, 0x1F7EB}, {0x1F90C, 0x1F9FF}, {0x1FA70, 0x1FAFF}, {0x20000, 0x3FFFD},
};

template <std::size_t N>
bool contains(Range const (&ranges)[N], std::uint32_t code) {
    for (auto const& range : ranges) {
        if (code >= range.first && code <= range.last) {
            return true;
        }
    }
    return false;
}

// Decodes the character at `at` and moves past it; a byte that starts no
// valid sequence counts as one character of its own.
std::uint32_t next_code_point(std::string const& text, std::size_t& at) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = byte(at);
    std::size_t length = lead < 0x80           ? 1
                         : (lead >> 5) == 0x6  ? 2
                         : (lead >> 4) == 0xE  ? 3
                         : (lead >> 3) == 0x1E ? 4
                                               : 1;
    if (length == 1 || at + length > text.size()) {
        ++at;
        return lead;
    }
    std::uint32_t code = lead & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            ++at;
            return lead;
        }
        code = (code << 6) | (byte(at + i) & 0x3F);
    }
    at += length;
    return code;
}

std::size_t code_point_width(std::uint32_t code) {
    if (contains(kZeroWidth, code)) {
        return 0;
    }
    return contains(kWide, code) ? 2 : 1;
}

}  // namespace

std::size_t display_width(std::string const& text) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size();) {
        width += code_point_width(next_code_point(text, at));
    }
    return width;
}

std::string display_prefix(std::string const& text, std::size_t width) {
    std::size_t used = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t next = at;
        std::size_t w = code_point_width(next_code_point(text, next));
        if (used + w > width) {
            break;
        }
        used += w;
        at = next;
    }
    return text.substr(0, at);
}

}  // namespace vexa::tool
