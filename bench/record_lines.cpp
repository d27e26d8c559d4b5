#include "record_lines.h"

#include <cstdint>
#include <vector>

#include <datastore/columns.h>

#include "plain_sqlite.h"

namespace vexa::bench {

namespace {

std::string csv_text(std::string const& text) {
    std::string quoted = "\"";
    for (char const c : text) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + "\"";
}

// A member as a CSV cell.
struct CsvCell {
    std::string (*duration)(double);

    std::string operator()(std::int32_t value) const { return std::to_string(value); }
    std::string operator()(std::int64_t value) const { return std::to_string(value); }
    std::string operator()(double value) const { return duration(value); }
    std::string operator()(provider::encoding value) const {
        return std::to_string(static_cast<int>(value));
    }
    std::string operator()(std::string const& text) const { return csv_text(text); }
    std::string operator()(std::vector<std::string> const& names) const {
        return csv_text(join_names(names));
    }
};

// A member as a JSON value.
struct JsonValue {
    nlohmann::json operator()(provider::encoding value) const { return static_cast<int>(value); }
    template <typename Value>
    nlohmann::json operator()(Value const& value) const {
        return value;
    }
};

}  // namespace

std::string csv_line(datastore::Row const& row, std::size_t first,
                     std::string (*duration)(double)) {
    std::string line;
    for (std::size_t i = first; i < datastore::record_columns.size(); ++i) {
        line += i == first ? "" : ",";
        line += visit_member(row, datastore::record_columns[i].member, CsvCell{duration});
    }
    return line + "\n";
}

nlohmann::json json_record(datastore::Row const& row) {
    nlohmann::json object = nlohmann::json::object();
    auto const& columns = datastore::record_columns;
    for (std::size_t i = datastore::first_stored_column; i < columns.size(); ++i) {
        object[columns[i].name] = visit_member(row, columns[i].member, JsonValue{});
    }
    return object;
}

}  // namespace vexa::bench
