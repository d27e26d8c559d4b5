#include "sqlite_calls.h"

#include <stdexcept>

namespace vexa::datastore::sqlite_plugin {

void fail(::sqlite3* db) { throw std::runtime_error(sqlite3_errmsg(db)); }

void execute(::sqlite3* db, std::string const& sql) {
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(db);
    }
}

Statement prepare(::sqlite3* db, std::string const& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &statement, nullptr) !=
        SQLITE_OK) {
        sqlite3_finalize(statement);
        fail(db);
    }
    return Statement(statement);
}

void bind_text(sqlite3_stmt* statement, int index, std::string const& text) {
    sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

sqlite3_int64 integer_of(::sqlite3* db, std::string const& sql, sqlite3_int64 fallback) {
    Statement statement = prepare(db, sql);
    int const rc = sqlite3_step(statement.get());
    if (rc == SQLITE_ROW) {
        return sqlite3_column_type(statement.get(), 0) == SQLITE_NULL
                   ? fallback
                   : sqlite3_column_int64(statement.get(), 0);
    }
    if (rc != SQLITE_DONE) {
        fail(db);
    }
    return fallback;
}

}  // namespace vexa::datastore::sqlite_plugin
