// The aligned, width-fitted table of --format table.
#include <algorithm>
#include <numeric>

#include "output.h"

namespace vexa::tool {

namespace {

constexpr std::size_t kGap = 2;         // blanks between columns
constexpr std::size_t kNarrowest = 5;   // no column is shortened below this
constexpr std::size_t kShortText = 20;  // a time, a host name, a number
constexpr char const* kEllipsis = "\u2026";

bool is_continuation_byte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// Display columns of a UTF-8 text: one per code point.
std::size_t display_width(std::string const& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !is_continuation_byte(c); }));
}

// A cell on one line: line breaks, tabs and other control characters become
// blanks.
std::string one_line(std::string text) {
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            c = ' ';
        }
    }
    return text;
}

std::string shortened(std::string const& text, std::size_t width) {
    if (display_width(text) <= width) {
        return text;
    }
    std::size_t kept = 0;
    std::size_t end = 0;
    while (end < text.size() && kept < width - 1) {
        ++end;
        while (end < text.size() && is_continuation_byte(text[end])) {
            ++end;
        }
        ++kept;
    }
    return text.substr(0, end) + kEllipsis;
}

std::string padded(std::string const& text, std::size_t width, bool right_aligned) {
    std::string blanks(width - std::min(width, display_width(text)), ' ');
    return right_aligned ? blanks + text : text + blanks;
}

// The widths with which the table fits in `total` display columns: the
// longest texts are narrowed to one common limit, the largest that fits;
// columns of at most kShortText stay whole unless even that is not enough.
// When nothing fits, every column is narrowed to kNarrowest and the lines
// overflow.
std::vector<std::size_t> fitted_widths(std::vector<std::size_t> widths, std::size_t total) {
    std::size_t const gaps = kGap * (widths.size() - 1);
    auto needed = [&](std::size_t limit, std::size_t kept_whole) {
        std::size_t sum = gaps;
        for (auto w : widths) {
            sum += w <= kept_whole ? w : std::min(w, limit);
        }
        return sum;
    };
    std::size_t const widest = *std::max_element(widths.begin(), widths.end());
    if (needed(widest, 0) <= total) {
        return widths;
    }
    std::size_t kept_whole = needed(kNarrowest, kShortText) <= total ? kShortText : 0;
    std::size_t low = kNarrowest;  // the limit sought is in [low, widest)
    std::size_t high = widest;
    while (high - low > 1) {
        std::size_t middle = low + (high - low) / 2;
        (needed(middle, kept_whole) <= total ? low : high) = middle;
    }
    for (auto& w : widths) {
        w = w <= kept_whole ? w : std::min(w, low);
    }
    return widths;
}

void write_line(std::vector<std::string> const& cells, std::vector<std::size_t> const& widths,
                std::vector<bool> const& right_aligned, std::ostream& out) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line += (i ? std::string(kGap, ' ') : "") +
                padded(shortened(cells[i], widths[i]), widths[i], right_aligned[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
}

}  // namespace

void write_text_table(Table const& table, std::size_t width, std::ostream& out) {
    if (table.rows.empty()) {
        out << "(no rows)\n";
        return;
    }
    std::size_t columns = table.columns.size();
    std::vector<std::vector<std::string>> texts;
    std::vector<std::size_t> widths(columns);
    std::vector<bool> numeric(columns, true);
    for (std::size_t c = 0; c < columns; ++c) {
        widths[c] = display_width(table.columns[c]);
    }
    for (auto const& row : table.rows) {
        std::vector<std::string> line;
        for (std::size_t c = 0; c < columns; ++c) {
            line.push_back(one_line(cell_text(row[c])));
            widths[c] = std::max(widths[c], display_width(line.back()));
            numeric[c] = numeric[c] && row[c].is_number();
        }
        texts.push_back(std::move(line));
    }
    widths = fitted_widths(widths, width);
    write_line(table.columns, widths, numeric, out);
    std::vector<std::string> rules;
    for (auto w : widths) {
        rules.emplace_back(w, '-');
    }
    write_line(rules, widths, numeric, out);
    for (auto const& line : texts) {
        write_line(line, widths, numeric, out);
    }
}

}  // namespace vexa::tool
