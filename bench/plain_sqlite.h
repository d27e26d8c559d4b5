// The baselines' side of the comparison: the SQLite C library used directly,
// the way a careful program would without the datastore layer.
#ifndef VEXA_BENCH_PLAIN_SQLITE_H_
#define VEXA_BENCH_PLAIN_SQLITE_H_

#include <string>
#include <vector>

#include <datastore/extension.h>
#include <datastore/records.h>

struct sqlite3;
struct sqlite3_stmt;

namespace vexa::bench {

using datastore::InsertRequest;
using datastore::Row;

// One connection; throws std::runtime_error with the file and SQLite's text
// when the file cannot be opened.
class PlainDatabase {
  public:
    PlainDatabase(std::string const& file, bool read_only);
    ~PlainDatabase();
    PlainDatabase(PlainDatabase const&) = delete;
    PlainDatabase& operator=(PlainDatabase const&) = delete;

    // Runs every statement of `sql`; throws with SQLite's text on failure.
    void exec(std::string const& sql);
    // The first column of the first row of `sql`, as text ("" for none).
    std::string text_of(std::string const& sql);
    sqlite3* handle() const { return db_; }

  private:
    sqlite3* db_ = nullptr;
};

// One prepared statement, finalized on destruction.
class PlainStatement {
  public:
    PlainStatement(PlainDatabase& db, std::string const& sql);
    ~PlainStatement();
    PlainStatement(PlainStatement const&) = delete;
    PlainStatement& operator=(PlainStatement const&) = delete;

    // Binds `request` to the parameters of plain_insert_sql() and runs it.
    void insert_row(InsertRequest const& request);
    // Runs the statement (a SELECT over the view, columns in table order)
    // and appends one Row per result row, stamped with `source` as the
    // front end stamps its rows.
    void read_rows(std::string const& source, std::vector<Row>& out);

  private:
    sqlite3* db_;
    sqlite3_stmt* stmt_ = nullptr;
};

// INSERT of every column but rowid into the provider table, 14 parameters.
std::string plain_insert_sql();

// node_names as stored: the names joined with ",".
std::string join_names(std::vector<std::string> const& names);

// The columns a stored record fills, every one but rowid, in the table's
// order: "Provider, Hostname, ..., Unique_timestamp".
std::string stored_columns();

// The text the library composes for the rows of `providers`:
// SELECT * FROM <view> WHERE (Provider IN ('a','b') )
std::string provider_select_sql(std::vector<std::string> const& providers);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_PLAIN_SQLITE_H_
