#include "table_query.h"

namespace vexa::datastore::odbc_plugin {

std::vector<std::string> result_columns(SQLHSTMT s) {
    SQLSMALLINT columns = 0;
    check(SQLNumResultCols(s, &columns), SQL_HANDLE_STMT, s, "SQLNumResultCols");
    std::vector<std::string> names;
    for (SQLUSMALLINT column = 1; column <= columns; ++column) {
        char name[256] = {};
        SQLSMALLINT length = 0;
        check(SQLColAttribute(s, column, SQL_DESC_NAME, name, sizeof name, &length, nullptr),
              SQL_HANDLE_STMT, s, "SQLColAttribute");
        names.emplace_back(name);
    }
    return names;
}

void read_cells(SQLHSTMT s, SQLSMALLINT columns, std::vector<std::optional<std::string>>& row) {
    char chunk[4096];
    for (SQLUSMALLINT column = 1; column <= columns; ++column) {
        std::optional<std::string>& cell = row.emplace_back(std::string());
        for (;;) {
            SQLLEN indicator = 0;
            SQLRETURN const got =
                SQLGetData(s, column, SQL_C_CHAR, chunk, sizeof chunk, &indicator);
            if (got == SQL_NO_DATA) {
                break;
            }
            check(got, SQL_HANDLE_STMT, s, "SQLGetData");
            if (indicator == SQL_NULL_DATA) {
                cell.reset();
                break;
            }
            std::size_t const room = sizeof chunk - 1;  // a NUL ends every part
            if (indicator != SQL_NO_TOTAL && static_cast<std::size_t>(indicator) <= room) {
                cell->append(chunk, static_cast<std::size_t>(indicator));
                break;
            }
            cell->append(chunk, room);
        }
    }
}

void query_table(SQLHDBC dbc, std::string const& sql, Table& out) {
    Statement const statement = new_statement(dbc);
    SQLHSTMT const s = statement.get();
    check(SQLExecDirect(s, reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql.c_str())),
                        static_cast<SQLINTEGER>(sql.size())),
          SQL_HANDLE_STMT, s, "SQLExecDirect");
    Table table;
    table.columns = result_columns(s);
    auto const columns = static_cast<SQLSMALLINT>(table.columns.size());
    for (SQLRETURN rc; (rc = SQLFetch(s)) != SQL_NO_DATA;) {
        check(rc, SQL_HANDLE_STMT, s, "SQLFetch");
        read_cells(s, columns, table.rows.emplace_back());
    }
    out = std::move(table);
}

}  // namespace vexa::datastore::odbc_plugin
