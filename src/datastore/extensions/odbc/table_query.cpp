#include "table_query.h"

#include <stdexcept>

namespace vexa::datastore::odbc_plugin {

namespace {

bool blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

// `sql` without trailing blanks and semicolons; throws when a semicolon
// outside quotes and comments is followed by more text.
std::string single_statement(std::string const& sql) {
    std::string::size_type end = sql.size();
    while (end > 0 && (blank(sql[end - 1]) || sql[end - 1] == ';')) {
        --end;
    }
    char quote = 0;
    for (std::string::size_type i = 0; i < end; ++i) {
        char const c = sql[i];
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == '\'' || c == '"') {
            quote = c;
        } else if (c == '-' && i + 1 < end && sql[i + 1] == '-') {
            std::string::size_type const line_end = sql.find('\n', i);
            if (line_end == std::string::npos || line_end >= end) {
                end = i;  // a trailing comment would swallow the closing parenthesis
                break;
            }
            i = line_end;
        } else if (c == ';') {
            throw std::runtime_error("more than one statement: " + sql);
        }
    }
    return sql.substr(0, end);
}

}  // namespace

std::string derived_table_query(std::string const& sql) {
    return "SELECT * FROM (" + single_statement(sql) + "\n) AS vexa_query";
}

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
    std::string const derived = derived_table_query(sql);
    Statement const statement = new_statement(dbc);
    SQLHSTMT const s = statement.get();
    check(SQLExecDirect(s, reinterpret_cast<SQLCHAR*>(const_cast<char*>(derived.c_str())),
                        static_cast<SQLINTEGER>(derived.size())),
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
