#include "output/record_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace vexa::tool {

using datastore::Row;

namespace {

// A real as SQLite writes it: 15 significant digits, and a decimal point
// even when the value is whole.
std::string real_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.15g", value);
    std::string result = text;
    if (result.find_first_of("in") != std::string::npos) {  // inf, nan
        return result;
    }
    auto const exponent = std::min(result.find('e'), result.size());
    if (result.find('.') == std::string::npos) {
        result.insert(exponent, ".0");
    }
    return result;
}

std::string joined(std::vector<std::string> const& names) {
    std::string text;
    for (auto const& name : names) {
        text += (text.empty() ? "" : ",") + name;
    }
    return text;
}

// A member as the database's text of it.
struct MemberText {
    std::string operator()(std::int32_t value) const { return std::to_string(value); }
    std::string operator()(std::int64_t value) const { return std::to_string(value); }
    std::string operator()(double value) const { return real_text(value); }
    std::string operator()(provider::encoding value) const {
        return std::to_string(static_cast<int>(value));
    }
    std::string operator()(std::string const& text) const { return text; }
    std::string operator()(std::vector<std::string> const& names) const { return joined(names); }
};

}  // namespace

std::vector<std::string> const& view_columns() {
    static std::vector<std::string> const columns = [] {
        std::vector<std::string> names;
        for (datastore::Column const& column : datastore::record_columns) {
            names.emplace_back(column.name);
        }
        return names;
    }();
    return columns;
}

std::optional<std::string> member_text(Row const& row, std::string const& column) {
    for (datastore::Column const& candidate : datastore::record_columns) {
        if (str::ascii_iequals(candidate.name, column)) {
            return visit_member(row, candidate.member, MemberText{});
        }
    }
    return std::nullopt;
}

Cell number_or_text(std::string const& text) {
    if (text.empty() || text.size() > 24 ||
        text.find_first_not_of("0123456789.-+eE") != std::string::npos) {
        return text;
    }
    Cell number = Cell::parse(text, nullptr, false);
    if (number.is_number() && number.dump() == text) {
        return number;
    }
    return text;
}

Cell cell_of(std::optional<std::string> const& text) {
    if (!text) {
        return nullptr;
    }
    return number_or_text(*text);
}

}  // namespace vexa::tool
