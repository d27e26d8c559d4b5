#include "sqlite_extension.h"

#include <exception>
#include <stdexcept>

#include <datastore/vocabulary.h>
#include <util/log.h>

#include "database_file.h"
#include "file_in_place.h"
#include "insert.h"
#include "planner_statistics.h"
#include "read_authorizer.h"
#include "row_reader.h"
#include "schema.h"
#include "source_settings.h"
#include "statements.h"
#include "time_limit.h"

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
    std::lock_guard<FairMutex> const lock(mutex_);
    close();
}

void SqliteExtension::close() noexcept {
    // A batch still open when the instance closes keeps its rows.
    commit_open_batch();
    insert_statement_.reset();
    if (db_ != nullptr && !read_only_) {
        // SQLite's advice before closing: analyse what the queries of this
        // connection showed to be worth it.
        sqlite3_exec(db_.get(), "PRAGMA optimize;", nullptr, nullptr, nullptr);
    }
    db_.reset();
    open_ = false;
}

int SqliteExtension::open_instance(std::string const& source_parameters) {
    std::lock_guard<FairMutex> const lock(mutex_);
    close();
    path_.clear();
    try {
        SourceSettings const settings = read_source_settings(source_parameters);
        read_only_ = settings.read_only;
        path_ = settings.path;
        set_time_limit(settings.time_limit);
        db_ = read_only_ ? open_read_only(path_) : open_writable(path_, settings.full_sync);
        if (!read_only_) {
            insert_statement_ = prepare_insert(db_.get());
        }
        has_state_ = has_latest_state(db_.get());
        if (!has_state_) {
            log::ErrorLog(6).stream() << "sqlite3 " << path_
                                      << ": no latest-row state in the file; latest rows "
                                         "come from the composed query";
        }
        hosts_query =
            has_state_ ? common::hosts_from_state_query() : common::composed_hosts_query();
        open_ = true;
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

bool SqliteExtension::is_ready() { return open_; }

std::string SqliteExtension::describe() const {
    std::lock_guard<FairMutex> const lock(mutex_);
    if (db_ == nullptr) {
        return "sqlite3 " + path_ + " (not open)";
    }
    return "sqlite3 " + path_ + (read_only_ ? " (read-only)" : " (read-write)");
}

void SqliteExtension::end_deferred_state() {
    if (!deferred_state_.active()) {
        return;
    }
    try {
        deferred_state_.write();
    } catch (std::exception const& error) {
        batch_.roll_back(db_.get(), instance_name,
                         std::string("the latest-row state could not be written: ") + error.what());
        deferred_state_.stop();
        throw;
    }
    deferred_state_.stop();
}

bool SqliteExtension::commit_open_batch() noexcept {
    try {
        end_deferred_state();
    } catch (std::exception const&) {
        // Rolled back and logged; the commit below ends the failed batch.
    }
    return batch_.commit(db_.get(), instance_name, path_);
}

void SqliteExtension::refresh_statistics_after_inserts() {
    end_deferred_state();
    if (inserted_since_analysis_) {
        refresh_planner_statistics(db_.get());
        inserted_since_analysis_ = false;
    }
}

bool SqliteExtension::select(std::string query, std::vector<Row>& out,
                             std::map<std::string, int> const& fields) {
    std::lock_guard<FairMutex> const lock(mutex_);
    if (db_ == nullptr) {
        return false;
    }
    refresh_statistics_after_inserts();
    return logging_failure(path_, [&] {
        return within_time_limit(db_.get(), time_limit(), [&] {
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
    });
}

bool SqliteExtension::get_latest_rows_provider(std::vector<std::string> providers,
                                               std::vector<Row>& out,
                                               std::vector<std::string> hosts) {
    if (!has_state_) {
        return interface::get_latest_rows_provider(std::move(providers), out, std::move(hosts));
    }
    return select_latest_rows(std::move(providers), std::move(hosts), out,
                              common::latest_rows_from_state_head(),
                              common::latest_rows_from_state_tail());
}

bool SqliteExtension::insert(provider::header const& header, std::string const& option_id,
                             std::string const& stdout_text, std::string const& stderr_text) {
    // One critical section from the batch's state to the row's step: a
    // failure of another thread in between would roll the batch back and
    // leave this row to commit on its own.
    std::lock_guard<FairMutex> const lock(mutex_);
    if (insert_statement_ == nullptr || batch_.has_failed()) {
        return false;  // read-only, not open, or in a lost batch that takes nothing more
    }
    try {
        return logging_failure(path_, [&] {
            return within_time_limit(db_.get(), time_limit(), [&] {
                require_file_in_place(db_.get(), path_);
                execute_insert(db_.get(), insert_statement_.get(), header, option_id, stdout_text,
                               stderr_text);
                inserted_since_analysis_ = true;
                // A retried record stores nothing and changes no state.
                if (deferred_state_.active() && sqlite3_changes(db_.get()) > 0) {
                    deferred_state_.note(header.Provider, header.Hostname, option_id,
                                         header.Unique_timestamp,
                                         sqlite3_last_insert_rowid(db_.get()));
                }
                if (!batch_.is_running()) {
                    // The row is committed: acknowledged only when it went to the
                    // file at the path, which may have moved during the write.
                    require_file_in_place(db_.get(), path_);
                }
                return true;
            });
        });
    } catch (std::exception const& error) {
        if (batch_.is_running()) {
            batch_.roll_back(db_.get(), instance_name,
                             std::string("an insert failed: ") + error.what());
            deferred_state_.stop();
        }
        throw;
    }
}

}  // namespace vexa::datastore::sqlite_plugin
