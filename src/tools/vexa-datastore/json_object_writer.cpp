#include "output_formats.h"

namespace vexa::tool {

namespace {

constexpr unsigned kIndent = 2;  // per level; an object in the array is on level 1
constexpr unsigned kMemberIndent = 2 * kIndent;

}  // namespace

JsonObjectWriter::JsonObjectWriter(std::vector<std::string> const& columns, bool in_array)
    : in_array_(in_array),
      serializer_(nlohmann::detail::output_adapter<char, std::string>(text_), ' ',
                  Cell::error_handler_t::replace) {
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
        serializer_.dump(cells[i], in_array_, false, kIndent, kMemberIndent);
    }
    text_ += closing_;
    return text_;
}

}  // namespace vexa::tool
