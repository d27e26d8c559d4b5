// Owning handles of SQLite objects and the few calls the plug-in makes
// through them, each turning a failure into std::runtime_error carrying
// SQLite's own error text.
#ifndef VEXA_SQLITE_PLUGIN_SQLITE_CALLS_H_
#define VEXA_SQLITE_PLUGIN_SQLITE_CALLS_H_

#include <memory>
#include <string>

#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

struct DatabaseCloser {
    void operator()(::sqlite3* db) const noexcept { sqlite3_close_v2(db); }
};
struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};

using Database = std::unique_ptr<::sqlite3, DatabaseCloser>;
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

// Throws std::runtime_error with the connection's current error text.
[[noreturn]] void fail(::sqlite3* db);

// Runs every statement of `sql`, discarding any result rows.
void execute(::sqlite3* db, std::string const& sql);

// Compiles the first statement of `sql`; whatever follows it is ignored.
// Null for a text holding no statement (blanks or comments only).
Statement prepare(::sqlite3* db, std::string const& sql);

// Binds `text` as parameter `index` without a copy: the caller keeps it
// alive until the statement's step is done.
void bind_text(sqlite3_stmt* statement, int index, std::string const& text);

// The first column of the first result row of `sql` as a 64-bit integer;
// `fallback` when there is no row or the value is NULL.
sqlite3_int64 integer_of(::sqlite3* db, std::string const& sql, sqlite3_int64 fallback);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_SQLITE_CALLS_H_
