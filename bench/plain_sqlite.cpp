#include "plain_sqlite.h"

#include <sqlite3.h>

#include <stdexcept>

#include <datastore/columns.h>
#include <datastore/vocabulary.h>

namespace vexa::bench {

namespace {

[[noreturn]] void fail(sqlite3* db, std::string const& what) {
    throw std::runtime_error(what + ": " + sqlite3_errmsg(db));
}

std::string column_text(sqlite3_stmt* stmt, int column) {
    auto const* text = reinterpret_cast<char const*>(sqlite3_column_text(stmt, column));
    return text == nullptr ? std::string() : std::string(text, sqlite3_column_bytes(stmt, column));
}

// node_names is stored as the names joined with ","; "" is no names.
std::vector<std::string> split_names(std::string const& joined) {
    std::vector<std::string> names;
    if (joined.empty()) {
        return names;
    }
    std::string::size_type start = 0;
    for (;;) {
        auto const comma = joined.find(',', start);
        names.push_back(joined.substr(start, comma - start));
        if (comma == std::string::npos) {
            return names;
        }
        start = comma + 1;
    }
}

void bind_text(sqlite3_stmt* stmt, int index, std::string const& text) {
    sqlite3_bind_text(stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

}  // namespace

std::string join_names(std::vector<std::string> const& names) {
    std::string joined;
    for (auto const& name : names) {
        if (!joined.empty()) {
            joined += ',';
        }
        joined += name;
    }
    return joined;
}

PlainDatabase::PlainDatabase(std::string const& file, bool read_only) {
    int const flags = read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    if (sqlite3_open_v2(file.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
        std::string const message = "cannot open " + file + ": " + sqlite3_errmsg(db_);
        sqlite3_close(db_);
        throw std::runtime_error(message);
    }
}

PlainDatabase::~PlainDatabase() { sqlite3_close(db_); }

void PlainDatabase::exec(std::string const& sql) {
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(db_, sql);
    }
}

std::string PlainDatabase::text_of(std::string const& sql) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
        fail(db_, sql);
    }
    std::string text = sqlite3_step(stmt) == SQLITE_ROW ? column_text(stmt, 0) : std::string();
    sqlite3_finalize(stmt);
    return text;
}

PlainStatement::PlainStatement(PlainDatabase& db, std::string const& sql) : db_(db.handle()) {
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt_, nullptr) != SQLITE_OK) {
        fail(db_, sql);
    }
}

PlainStatement::~PlainStatement() { sqlite3_finalize(stmt_); }

void PlainStatement::insert_row(InsertRequest const& request) {
    provider::header const& h = request.header;
    std::string const node_names = join_names(h.node_names);
    bind_text(stmt_, 1, h.Provider);
    bind_text(stmt_, 2, h.Hostname);
    sqlite3_bind_int(stmt_, 3, h.num_nodes);
    bind_text(stmt_, 4, node_names);
    sqlite3_bind_int(stmt_, 5, h.Exit_status);
    sqlite3_bind_int64(stmt_, 6, h.Timestamp);
    sqlite3_bind_double(stmt_, 7, h.Duration);
    sqlite3_bind_int(stmt_, 8, h.Encoding);
    bind_text(stmt_, 9, request.stdout_text);
    bind_text(stmt_, 10, request.stderr_text);
    bind_text(stmt_, 11, request.option_id);
    sqlite3_bind_int(stmt_, 12, h.version);
    bind_text(stmt_, 13, h.Username);
    sqlite3_bind_int64(stmt_, 14, h.Unique_timestamp);
    int const rc = sqlite3_step(stmt_);
    sqlite3_reset(stmt_);
    if (rc != SQLITE_DONE) {
        fail(db_, "insert");
    }
}

void PlainStatement::read_rows(std::string const& source, std::vector<Row>& out) {
    int rc;
    while ((rc = sqlite3_step(stmt_)) == SQLITE_ROW) {
        Row row;
        row.rowid = sqlite3_column_int(stmt_, 0);
        row.Provider = column_text(stmt_, 1);
        row.Hostname = column_text(stmt_, 2);
        row.num_nodes = sqlite3_column_int(stmt_, 3);
        row.node_names = split_names(column_text(stmt_, 4));
        row.Exit_status = sqlite3_column_int(stmt_, 5);
        row.Timestamp = sqlite3_column_int64(stmt_, 6);
        row.Duration = sqlite3_column_double(stmt_, 7);
        row.Encoding = static_cast<provider::encoding>(sqlite3_column_int(stmt_, 8));
        row.STDOUT = column_text(stmt_, 9);
        row.STDERR = column_text(stmt_, 10);
        row.OptionID = column_text(stmt_, 11);
        row.version = sqlite3_column_int(stmt_, 12);
        row.Username = column_text(stmt_, 13);
        row.Unique_timestamp = sqlite3_column_int64(stmt_, 14);
        row.datastore_source = source;
        out.push_back(std::move(row));
    }
    sqlite3_reset(stmt_);
    if (rc != SQLITE_DONE) {
        fail(db_, "select");
    }
}

std::string stored_columns() {
    std::string names;
    auto const& columns = datastore::record_columns;
    for (std::size_t i = datastore::first_stored_column; i < columns.size(); ++i) {
        names += (names.empty() ? "" : ", ") + std::string(columns[i].name);
    }
    return names;
}

std::string plain_insert_sql() {
    return "INSERT INTO " + datastore::table_name + "(" + stored_columns() +
           ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
}

std::string provider_select_sql(std::vector<std::string> const& providers) {
    std::string sql = "SELECT * FROM " + datastore::table_view + " WHERE (Provider IN (";
    for (std::size_t i = 0; i < providers.size(); ++i) {
        sql += (i == 0 ? "'" : ",'") + providers[i] + "'";
    }
    return sql + ") )";
}

}  // namespace vexa::bench
