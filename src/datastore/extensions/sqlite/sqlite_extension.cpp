#include "sqlite_extension.h"

#include <exception>
#include <stdexcept>

#include <datastore/vocabulary.h>
#include <util/log.h>

#include "database_file.h"
#include "node_names.h"
#include "planner_statistics.h"
#include "read_authorizer.h"
#include "row_reader.h"
#include "source_settings.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

std::string insert_query() {
    return "INSERT INTO " + table_name +
           "(Provider, Hostname, num_nodes, node_names, Exit_status, Timestamp, Duration, "
           "Encoding, STDOUT, STDERR, OptionID, version, Username, Unique_timestamp) "
           "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14);";
}

// Hands SQLite the caller's bytes without a copy: they outlive the step.
void bind_text(sqlite3_stmt* statement, int index, std::string const& text) {
    sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

// The library reports only that an operation failed; the reason goes to the
// log, "sqlite3 PATH: reason" ("sqlite3: reason" before a path is known).
// Nothing may escape open_instance(), not even from logging.
void log_failure(std::string const& path, char const* reason) noexcept {
    try {
        log::ErrorLog(4).stream() << "sqlite3" << (path.empty() ? "" : " ") << path << ": "
                                  << reason;
    } catch (...) {
    }
}

// Runs `body`, logging the reason of any failure before passing it on: it is
// SQLite's own text ("database is locked", "database or disk is full", ...),
// which callers see only as a failed operation.
template <typename Body>
auto logging_failure(std::string const& path, Body body) -> decltype(body()) {
    try {
        return body();
    } catch (std::exception const& error) {
        log_failure(path, error.what());
        throw;
    }
}

// Leaves the statement ready for its next use however the step went.
struct ResetOnExit {
    sqlite3_stmt* statement;
    ~ResetOnExit() {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
};

}  // namespace

SqliteExtension::SqliteExtension() {
    hosts_query = "SELECT *, MAX(unique_timestamp) FROM " + table_view +
                  " WHERE Provider = 'uname' GROUP BY Hostname;";
}

SqliteExtension::~SqliteExtension() {
    std::lock_guard<std::mutex> const lock(mutex_);
    close();
}

void SqliteExtension::close() noexcept {
    // A batch still open when the instance closes keeps its rows.
    batch_.commit(db_.get(), instance_name);
    insert_statement_.reset();
    if (db_ != nullptr && !read_only_) {
        // SQLite's advice before closing: analyse what the queries of this
        // connection showed to be worth it.
        sqlite3_exec(db_.get(), "PRAGMA optimize;", nullptr, nullptr, nullptr);
    }
    db_.reset();
}

int SqliteExtension::open_instance(std::string const& source_parameters) {
    std::lock_guard<std::mutex> const lock(mutex_);
    close();
    path_.clear();
    try {
        SourceSettings const settings = read_source_settings(source_parameters);
        read_only_ = settings.read_only;
        path_ = settings.path;
        db_ = read_only_ ? open_read_only(path_) : open_writable(path_, settings.full_sync);
        if (!read_only_) {
            insert_statement_ = prepare(db_.get(), insert_query());
        }
        return OPERATION_SUCCESSFULL;
    } catch (std::exception const& error) {
        close();
        log_failure(path_, error.what());
    } catch (...) {
        close();
    }
    return OPERATION_UNSUCCESSFULL;
}

bool SqliteExtension::is_ready() {
    std::lock_guard<std::mutex> const lock(mutex_);
    return db_ != nullptr;
}

std::string SqliteExtension::describe() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (db_ == nullptr) {
        return "sqlite3 " + path_ + " (not open)";
    }
    return "sqlite3 " + path_ + (read_only_ ? " (read-only)" : " (read-write)");
}

bool SqliteExtension::select(std::string query, std::vector<Row>& out,
                             std::map<std::string, int> const& fields) {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (db_ == nullptr) {
        return false;
    }
    if (inserted_since_analysis_) {
        refresh_planner_statistics(db_.get());
        inserted_since_analysis_ = false;
    }
    return logging_failure(path_, [&] {
        ReadAuthorizer const authorizer(db_.get());
        Statement const statement = prepare(db_.get(), query);
        if (statement == nullptr) {
            return true;  // a text of blanks or comments holds no statement and no rows
        }
        if (sqlite3_stmt_readonly(statement.get()) == 0) {
            throw std::runtime_error("not a read-only statement: " + query);
        }
        RowReader const reader(statement.get(), fields);
        int rc;
        while ((rc = sqlite3_step(statement.get())) == SQLITE_ROW) {
            reader.read(out.emplace_back());
        }
        if (rc != SQLITE_DONE) {
            fail(db_.get());
        }
        return true;
    });
}

bool SqliteExtension::insert(provider::header const& header, std::string const& option_id,
                             std::string const& stdout_text, std::string const& stderr_text) {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (insert_statement_ == nullptr) {
        return false;  // read-only, or not open
    }
    return logging_failure(path_, [&] {
        sqlite3_stmt* const s = insert_statement_.get();
        ResetOnExit const reset{s};
        std::string const node_names = join_node_names(header.node_names);
        bind_text(s, 1, header.Provider);
        bind_text(s, 2, header.Hostname);
        sqlite3_bind_int(s, 3, header.num_nodes);
        bind_text(s, 4, node_names);
        sqlite3_bind_int(s, 5, header.Exit_status);
        sqlite3_bind_int64(s, 6, header.Timestamp);
        sqlite3_bind_double(s, 7, header.Duration);
        sqlite3_bind_int(s, 8, header.Encoding);
        bind_text(s, 9, stdout_text);
        bind_text(s, 10, stderr_text);
        bind_text(s, 11, option_id);
        sqlite3_bind_int(s, 12, header.version);
        bind_text(s, 13, header.Username);
        sqlite3_bind_int64(s, 14, header.Unique_timestamp);
        if (sqlite3_step(s) != SQLITE_DONE) {
            fail(db_.get());
        }
        inserted_since_analysis_ = true;
        return true;
    });
}

}  // namespace vexa::datastore::sqlite_plugin
