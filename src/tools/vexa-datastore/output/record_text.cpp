#include "output/record_text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace vexa::tool {

using datastore::Row;

namespace {

std::string lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

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

}  // namespace

std::vector<std::string> const& view_columns() {
    static std::vector<std::string> const columns{
        "rowid",       "Provider",  "Hostname", "num_nodes", "node_names",
        "Exit_status", "Timestamp", "Duration", "Encoding",  "STDOUT",
        "STDERR",      "OptionID",  "version",  "Username",  "Unique_timestamp"};
    return columns;
}

std::optional<std::string> member_text(Row const& row, std::string const& column) {
    std::string const name = lower(column);
    if (name == "rowid") return std::to_string(row.rowid);
    if (name == "provider") return row.Provider;
    if (name == "hostname") return row.Hostname;
    if (name == "num_nodes") return std::to_string(row.num_nodes);
    if (name == "node_names") return joined(row.node_names);
    if (name == "exit_status") return std::to_string(row.Exit_status);
    if (name == "timestamp") return std::to_string(row.Timestamp);
    if (name == "duration") return real_text(row.Duration);
    if (name == "encoding") return std::to_string(static_cast<int>(row.Encoding));
    if (name == "stdout") return row.STDOUT;
    if (name == "stderr") return row.STDERR;
    if (name == "optionid") return row.OptionID;
    if (name == "version") return std::to_string(row.version);
    if (name == "username") return row.Username;
    if (name == "unique_timestamp") return std::to_string(row.Unique_timestamp);
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

}  // namespace vexa::tool
