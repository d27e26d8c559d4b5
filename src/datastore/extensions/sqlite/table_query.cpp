#include "table_query.h"

#include <stdexcept>

#include "read_authorizer.h"
#include "sqlite_calls.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// Compiles the first statement of `sql` as select() does: under the read
// authorizer, and only when it cannot write. `rest` gets the text after it.
Statement prepare_reading(::sqlite3* db, std::string const& sql, std::string& rest) {
    sqlite3_stmt* statement = nullptr;
    char const* tail = nullptr;
    int rc = SQLITE_OK;
    {
        ReadAuthorizer const authorizer(db);
        rc = sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &statement, &tail);
    }
    Statement owned(statement);
    if (rc != SQLITE_OK) {
        fail(db);
    }
    if (owned != nullptr && sqlite3_stmt_readonly(owned.get()) == 0) {
        throw std::runtime_error("not a read-only statement: " + sql);
    }
    rest.assign(tail == nullptr ? sql.data() + sql.size() : tail, sql.data() + sql.size());
    return owned;
}

// Whether `rest` holds a statement; a text SQLite cannot compile counts as one.
bool holds_statement(::sqlite3* db, std::string const& rest) {
    sqlite3_stmt* statement = nullptr;
    int const rc =
        sqlite3_prepare_v2(db, rest.data(), static_cast<int>(rest.size()), &statement, nullptr);
    Statement const owned(statement);
    return rc != SQLITE_OK || statement != nullptr;
}

}  // namespace

Statement prepare_table_query(::sqlite3* db, std::string const& sql) {
    std::string rest;
    Statement statement = prepare_reading(db, sql, rest);
    if (holds_statement(db, rest)) {
        throw std::runtime_error("more than one statement: " + sql);
    }
    return statement;
}

std::vector<std::string> result_columns(sqlite3_stmt* statement) {
    std::vector<std::string> names;
    int const columns = sqlite3_column_count(statement);
    for (int column = 0; column < columns; ++column) {
        char const* name = sqlite3_column_name(statement, column);
        names.emplace_back(name == nullptr ? "" : name);
    }
    return names;
}

void read_cells(sqlite3_stmt* statement, std::vector<std::optional<std::string>>& row) {
    int const columns = sqlite3_column_count(statement);
    for (int column = 0; column < columns; ++column) {
        if (sqlite3_column_type(statement, column) == SQLITE_NULL) {
            row.emplace_back();
            continue;
        }
        // Asking for the text before its length is SQLite's rule; an
        // empty blob has no text at all.
        auto const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, column));
        auto const length = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
        row.emplace_back(text == nullptr ? std::string() : std::string(text, length));
    }
}

void query_table(::sqlite3* db, std::string const& sql, Table& out) {
    out = Table{};
    Statement const statement = prepare_table_query(db, sql);
    if (statement == nullptr) {
        return;  // blanks or comments: no columns, no rows
    }
    sqlite3_stmt* const s = statement.get();
    // The first step recompiles a statement whose tables or views changed
    // since it was compiled, so only then are the column names current.
    int rc = sqlite3_step(s);
    out.columns = result_columns(s);
    for (; rc == SQLITE_ROW; rc = sqlite3_step(s)) {
        auto& row = out.rows.emplace_back();
        row.reserve(out.columns.size());
        read_cells(s, row);
    }
    if (rc != SQLITE_DONE) {
        fail(db);
    }
}

}  // namespace vexa::datastore::sqlite_plugin
