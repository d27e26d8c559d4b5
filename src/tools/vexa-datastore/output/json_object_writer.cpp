#include "output/output_formats.h"

namespace vexa::tool {

namespace {

constexpr unsigned kIndent = 2;  // per level; an object in the array is on level 1
constexpr unsigned kMemberIndent = 2 * kIndent;

}  // namespace

JsonObjectWriter::JsonObjectWriter(std::vector<std::string> const& columns, bool in_array)
    : in_array_(in_array) {
    std::string const object_indent(in_array ? kIndent : 0, ' ');
    std::string const member_indent(in_array ? kMemberIndent : 0, ' ');
    for (auto const& column : columns) {
        std::string const key =
            Cell(column).dump(-1, ' ', false, Cell::error_handler_t::replace) + ":";
        if (in_array) {
            openings_.push_back((openings_.empty() ? object_indent + "{\n" : ",\n") +
                                member_indent + key + " ");
        } else {
            openings_.push_back((openings_.empty() ? "{" : ",") + key);
        }
    }
    if (columns.empty()) {
        closing_ = object_indent + "{}";
    } else {
        closing_ = in_array ? "\n" + object_indent + "}" : "}";
    }
}

std::string const& JsonObjectWriter::text_of(std::vector<Cell> const& cells) {
    text_.clear();
    for (std::size_t i = 0; i < openings_.size(); ++i) {
        text_ += openings_[i];
        Cell const& value = cells[i];
        if (!in_array_ || value.is_primitive()) {
            text_ += value.dump(-1, ' ', false, Cell::error_handler_t::replace);
            continue;
        }
        // A list over several lines, its lines indented to the member's level.
        for (char c : value.dump(kIndent, ' ', false, Cell::error_handler_t::replace)) {
            text_ += c;
            if (c == '\n') {
                text_.append(kMemberIndent, ' ');
            }
        }
    }
    text_ += closing_;
    return text_;
}

}  // namespace vexa::tool
