#include <util/str.h>

#include <algorithm>
#include <cctype>

#include "variable_expansion.h"

namespace vexa::str {

std::vector<std::string> split(std::string const& text, char separator, bool keep_empty) {
    std::vector<std::string> pieces;
    std::string::size_type start = 0;
    while (true) {
        std::string::size_type const end = text.find(separator, start);
        std::string piece = text.substr(start, end == std::string::npos ? end : end - start);
        if (keep_empty || !piece.empty()) {
            pieces.push_back(std::move(piece));
        }
        if (end == std::string::npos) {
            return pieces;
        }
        start = end + 1;
    }
}

std::string stripws(std::string text) {
    auto const is_space = [](unsigned char c) { return std::isspace(c) != 0; };
    auto const first = std::find_if_not(text.begin(), text.end(), is_space);
    auto const last = std::find_if_not(text.rbegin(), text.rend(), is_space).base();
    if (first >= last) {
        return {};
    }
    return std::string(first, last);
}

namespace {

char ascii_lower_char(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string ascii_lower(std::string text) {
    for (char& c : text) {
        c = ascii_lower_char(c);
    }
    return text;
}

bool ascii_iequals(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return ascii_lower_char(x) == ascii_lower_char(y);
           });
}

std::string squeeze(std::string text, char c) {
    auto const end =
        std::unique(text.begin(), text.end(), [c](char a, char b) { return a == c && b == c; });
    text.erase(end, text.end());
    return text;
}

std::string dirname(std::string const& path) {
    std::string::size_type const slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    if (slash == 0) {
        return "/";
    }
    return path.substr(0, slash);
}

// Unlike a shell, splits no words and removes no quotes, so a path with a
// blank stays one path.
std::string wordexp(std::string text) {
    return util::expand_variables(text, util::UnsetVariable::expands_to_nothing);
}

}  // namespace vexa::str
