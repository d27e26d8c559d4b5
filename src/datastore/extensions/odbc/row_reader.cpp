#include "row_reader.h"

#include <cstdint>

#include "../sqlite/node_names.h"
#include "../sqlite/row_members.h"

namespace vexa::datastore::odbc_plugin {

namespace {

using namespace sqlite_plugin;  // the Row members shared with the SQLite plug-in

// Large enough for most cells in one call; longer ones take a second. Not
// larger: drivers fill the whole buffer they are given on every call.
constexpr std::size_t chunk_size = 1024;

}  // namespace

RowReader::RowReader(SQLHSTMT statement, std::map<std::string, int> const& fields)
    : statement_(statement), chunk_(chunk_size, '\0') {
    SQLSMALLINT columns = 0;
    check(SQLNumResultCols(statement, &columns), SQL_HANDLE_STMT, statement, "SQLNumResultCols");
    for (SQLUSMALLINT column = 1; column <= columns; ++column) {
        char name[256] = {};
        SQLSMALLINT length = 0;
        check(
            SQLColAttribute(statement, column, SQL_DESC_NAME, name, sizeof name, &length, nullptr),
            SQL_HANDLE_STMT, statement, "SQLColAttribute");
        int const member = row_member_of(name, fields);
        if (member >= 0) {
            targets_.push_back({column, member});
        }
    }
}

template <typename Number>
Number RowReader::read_number(SQLUSMALLINT column, SQLSMALLINT c_type) {
    Number value = 0;
    SQLLEN indicator = 0;
    check(SQLGetData(statement_, column, c_type, &value, sizeof value, &indicator), SQL_HANDLE_STMT,
          statement_, "SQLGetData");
    return indicator == SQL_NULL_DATA ? 0 : value;
}

void RowReader::read_text(SQLUSMALLINT column, std::string& text) {
    text.clear();
    SQLLEN indicator = 0;
    SQLRETURN rc = SQLGetData(statement_, column, SQL_C_CHAR, chunk_.data(),
                              static_cast<SQLLEN>(chunk_.size()), &indicator);
    if (rc == SQL_NO_DATA || indicator == SQL_NULL_DATA) {
        return;
    }
    check(rc, SQL_HANDLE_STMT, statement_, "SQLGetData");
    // Every part arrives with a terminating NUL; a cut part (01004) fills
    // the buffer but for that byte.
    std::size_t const room = chunk_.size() - 1;
    if (indicator != SQL_NO_TOTAL && static_cast<std::size_t>(indicator) <= room) {
        text.assign(chunk_.data(), static_cast<std::size_t>(indicator));
        return;
    }
    // A long cell: the rest goes straight into the text, in one more call
    // when the driver tells the length.
    if (indicator != SQL_NO_TOTAL) {
        text.reserve(static_cast<std::size_t>(indicator) + 1);
    }
    text.assign(chunk_.data(), room);
    std::size_t want =
        indicator == SQL_NO_TOTAL ? room : static_cast<std::size_t>(indicator) - room;
    for (;;) {
        std::size_t const offset = text.size();
        text.resize(offset + want + 1);
        rc = SQLGetData(statement_, column, SQL_C_CHAR, &text[offset],
                        static_cast<SQLLEN>(want + 1), &indicator);
        if (rc == SQL_NO_DATA) {
            text.resize(offset);
            return;
        }
        check(rc, SQL_HANDLE_STMT, statement_, "SQLGetData");
        if (indicator != SQL_NO_TOTAL && static_cast<std::size_t>(indicator) <= want) {
            text.resize(offset + static_cast<std::size_t>(indicator));
            return;
        }
        text.resize(offset + want);
        want = indicator == SQL_NO_TOTAL ? want * 2 : static_cast<std::size_t>(indicator) - want;
    }
}

bool RowReader::read(Row& row) {
    SQLRETURN const rc = SQLFetch(statement_);
    if (rc == SQL_NO_DATA) {
        return false;
    }
    check(rc, SQL_HANDLE_STMT, statement_, "SQLFetch");
    for (Target const& target : targets_) {
        SQLUSMALLINT const c = target.column;
        switch (target.member) {
            case rowid_member:
                row.rowid = read_number<std::int32_t>(c, SQL_C_SLONG);
                break;
            case provider_member:
                read_text(c, row.Provider);
                break;
            case hostname_member:
                read_text(c, row.Hostname);
                break;
            case num_nodes_member:
                row.num_nodes = read_number<std::int32_t>(c, SQL_C_SLONG);
                break;
            case node_names_member:
                read_text(c, node_names_);
                split_node_names(node_names_, row.node_names);
                break;
            case exit_status_member:
                row.Exit_status = read_number<std::int32_t>(c, SQL_C_SLONG);
                break;
            case timestamp_member:
                row.Timestamp = read_number<std::int64_t>(c, SQL_C_SBIGINT);
                break;
            case duration_member:
                row.Duration = read_number<double>(c, SQL_C_DOUBLE);
                break;
            case encoding_member:
                row.Encoding =
                    static_cast<provider::encoding>(read_number<std::int32_t>(c, SQL_C_SLONG));
                break;
            case stdout_member:
                read_text(c, row.STDOUT);
                break;
            case stderr_member:
                read_text(c, row.STDERR);
                break;
            case option_id_member:
                read_text(c, row.OptionID);
                break;
            case version_member:
                row.version = read_number<std::int32_t>(c, SQL_C_SLONG);
                break;
            case username_member:
                read_text(c, row.Username);
                break;
            case unique_timestamp_member:
                row.Unique_timestamp = read_number<std::int64_t>(c, SQL_C_SBIGINT);
                break;
        }
    }
    return true;
}

}  // namespace vexa::datastore::odbc_plugin
