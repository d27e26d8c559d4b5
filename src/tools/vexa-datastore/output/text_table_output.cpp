// The aligned table of --format table, fitted to a width when asked.
#include <algorithm>

#include "output/display_width.h"
#include "output/output_formats.h"

namespace vexa::tool {

namespace {

constexpr std::size_t kGap = 2;         // blanks between columns
constexpr std::size_t kNarrowest = 5;   // no column is shortened below this
constexpr std::size_t kShortText = 24;  // a time with its zone, a host name, a number
constexpr char const* kEllipsis = "\u2026";

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
    return display_prefix(text, width - 1) + kEllipsis;
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

// One line of `cells` padded to `widths`. With `cut`, a longer text is
// shortened to its column's width; without, it is written whole and the
// rest of the line moves to the right.
void write_line(std::vector<std::string> const& cells, std::vector<std::size_t> const& widths,
                std::vector<bool> const& right_aligned, bool cut, std::ostream& out) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line +=
            (i ? std::string(kGap, ' ') : "") +
            padded(cut ? shortened(cells[i], widths[i]) : cells[i], widths[i], right_aligned[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
}

// The column widths come from the first kWindow rows (or all of them when
// there are fewer); every later row is written at once with those widths,
// so a long listing is neither held in memory nor delayed to its end.
class TextTableOutput : public RowOutput {
  public:
    TextTableOutput(std::vector<std::string> columns, std::size_t width, std::ostream& out)
        : columns_(std::move(columns)),
          width_(width),
          out_(out),
          widths_(columns_.size()),
          numeric_(columns_.size(), true) {
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            widths_[c] = display_width(columns_[c]);
        }
    }

    void row(std::vector<Cell> const& cells) override {
        std::vector<std::string> line;
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            line.push_back(one_line(cell_text(cells[c])));
        }
        if (streaming_) {
            write_line(line, widths_, numeric_, width_ != 0, out_);
            check_written(out_);
            return;
        }
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            widths_[c] = std::max(widths_[c], display_width(line[c]));
            numeric_[c] = numeric_[c] && cells[c].is_number();
        }
        window_.push_back(std::move(line));
        if (window_.size() == kWindow) {
            write_window();
        }
    }

    void finish() override {
        if (!streaming_) {
            write_window();
        }
        out_.flush();
        check_written(out_);
    }

  private:
    static constexpr std::size_t kWindow = 1000;

    // The heading and the rows held so far; from then on rows are written
    // as they come.
    void write_window() {
        streaming_ = true;
        if (window_.empty()) {
            out_ << "(no rows)\n";
            return;
        }
        if (width_ != 0) {
            widths_ = fitted_widths(widths_, width_);
        }
        bool const cut = width_ != 0;
        write_line(columns_, widths_, numeric_, cut, out_);
        std::vector<std::string> rules;
        for (auto w : widths_) {
            rules.emplace_back(w, '-');
        }
        write_line(rules, widths_, numeric_, cut, out_);
        for (auto const& line : window_) {
            write_line(line, widths_, numeric_, cut, out_);
        }
        window_.clear();
        window_.shrink_to_fit();
        check_written(out_);
    }

    std::vector<std::string> columns_;
    std::size_t width_;  // 0: never shorten
    std::ostream& out_;
    std::vector<std::vector<std::string>> window_;
    bool streaming_ = false;
    std::vector<std::size_t> widths_;
    std::vector<bool> numeric_;
};

}  // namespace

std::unique_ptr<RowOutput> text_table_output(std::vector<std::string> columns, std::size_t width,
                                             std::ostream& out) {
    return std::make_unique<TextTableOutput>(std::move(columns), width, out);
}

}  // namespace vexa::tool
