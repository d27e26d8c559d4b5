#include "row_reader.h"

#include <cstdint>
#include <string_view>
#include <vector>

#include <datastore/columns.h>

#include "node_names.h"
#include "row_members.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// The member that column `name` fills, or -1; SQLite may name no column.
int member_of(char const* name, std::map<std::string, int> const& fields) {
    return name == nullptr ? -1 : common::row_member_of(name, fields);
}

std::string_view text_of(sqlite3_stmt* statement, int column) {
    auto const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, column));
    if (text == nullptr) {
        return {};
    }
    return {text,
            static_cast<std::string_view::size_type>(sqlite3_column_bytes(statement, column))};
}

// Reads one cell of the current result row into a Row member of its type;
// NULL reads as an empty text or zero.
struct CellReader {
    sqlite3_stmt* statement;
    int column;

    void operator()(std::int32_t& value) const { value = sqlite3_column_int(statement, column); }
    void operator()(std::int64_t& value) const { value = sqlite3_column_int64(statement, column); }
    void operator()(double& value) const { value = sqlite3_column_double(statement, column); }
    void operator()(provider::encoding& value) const {
        value = static_cast<provider::encoding>(sqlite3_column_int(statement, column));
    }
    void operator()(std::string& value) const { value = text_of(statement, column); }
    void operator()(std::vector<std::string>& names) const {
        common::split_node_names(text_of(statement, column), names);
    }
};

}  // namespace

RowReader::RowReader(sqlite3_stmt* statement, std::map<std::string, int> const& fields)
    : statement_(statement) {
    int const columns = sqlite3_column_count(statement);
    for (int column = 0; column < columns; ++column) {
        int const member = member_of(sqlite3_column_name(statement, column), fields);
        if (member >= 0) {
            targets_.push_back({column, member});
        }
    }
}

void RowReader::read(Row& row) const {
    for (Target const& target : targets_) {
        visit_member(row, static_cast<RowMember>(target.member),
                     CellReader{statement_, target.column});
    }
}

}  // namespace vexa::datastore::sqlite_plugin
