#include "sqlite_extension.h"

#include <exception>
#include <stdexcept>

#include <datastore/vocabulary.h>
#include <util/log.h>

#include "database_file.h"
#include "insert.h"
#include "planner_statistics.h"
#include "read_authorizer.h"
#include "row_reader.h"
#include "source_settings.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// The library reports only that an operation failed; the reason goes to the
// log, "sqlite3 PATH: reason" ("sqlite3: reason" before a path is known), and
// is noted for OP_LAST_FAILURE.
// Nothing may escape open_instance(), not even from logging.
void log_failure(std::string const& path, char const* reason) noexcept {
    common::note_failure(reason);
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

}  // namespace

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
            insert_statement_ = prepare_insert(db_.get());
        }
        return OPERATION_SUCCESSFULL;
    } catch (std::exception const& error) {
        close();
        log_failure(path_, error.what());
        remember_failure(error.what());
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
        execute_insert(db_.get(), insert_statement_.get(), header, option_id, stdout_text,
                       stderr_text);
        inserted_since_analysis_ = true;
        return true;
    });
}

}  // namespace vexa::datastore::sqlite_plugin
