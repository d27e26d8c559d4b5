#include "row_reader.h"

#include <string_view>

#include "node_names.h"
#include "row_members.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// The member that column `name` fills, or -1; SQLite may name no column.
int member_of(char const* name, std::map<std::string, int> const& fields) {
    return name == nullptr ? -1 : row_member_of(name, fields);
}

std::string_view text_of(sqlite3_stmt* statement, int column) {
    auto const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, column));
    if (text == nullptr) {
        return {};
    }
    return {text,
            static_cast<std::string_view::size_type>(sqlite3_column_bytes(statement, column))};
}

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
    sqlite3_stmt* const s = statement_;
    for (Target const& target : targets_) {
        int const c = target.column;
        switch (target.member) {
            case rowid_member:
                row.rowid = sqlite3_column_int(s, c);
                break;
            case provider_member:
                row.Provider = text_of(s, c);
                break;
            case hostname_member:
                row.Hostname = text_of(s, c);
                break;
            case num_nodes_member:
                row.num_nodes = sqlite3_column_int(s, c);
                break;
            case node_names_member:
                split_node_names(text_of(s, c), row.node_names);
                break;
            case exit_status_member:
                row.Exit_status = sqlite3_column_int(s, c);
                break;
            case timestamp_member:
                row.Timestamp = sqlite3_column_int64(s, c);
                break;
            case duration_member:
                row.Duration = sqlite3_column_double(s, c);
                break;
            case encoding_member:
                row.Encoding = static_cast<provider::encoding>(sqlite3_column_int(s, c));
                break;
            case stdout_member:
                row.STDOUT = text_of(s, c);
                break;
            case stderr_member:
                row.STDERR = text_of(s, c);
                break;
            case option_id_member:
                row.OptionID = text_of(s, c);
                break;
            case version_member:
                row.version = sqlite3_column_int(s, c);
                break;
            case username_member:
                row.Username = text_of(s, c);
                break;
            case unique_timestamp_member:
                row.Unique_timestamp = sqlite3_column_int64(s, c);
                break;
        }
    }
}

}  // namespace vexa::datastore::sqlite_plugin
