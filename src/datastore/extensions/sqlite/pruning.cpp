#include "pruning.h"

#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

#include <datastore/vocabulary.h>

#include "file_in_place.h"
#include "statements.h"
#include "time_limit.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// Rows per chunk: deleting them (and their index entries) takes a few
// milliseconds, the longest another thread of this process waits.
constexpr sqlite3_int64 chunk_rows = 1000;
// Rowids a step looks through for its chunk: where few rows match (one
// provider of many, or the end of the table) the step ends after these
// instead of scanning on to the next match.
constexpr sqlite3_int64 window_rowids = 10 * chunk_rows;
// Pages per step of the incremental vacuum (4 KiB each).
constexpr int vacuum_pages = 512;
// Write-ahead log pages after which a commit copies the log back into the
// file while pruning: the connection's usual 10,000 would make the one
// chunk that reaches it wait for 40 MB to be written (0.4 s on a busy
// machine, against 60 ms with this).
constexpr int pruning_checkpoint_pages = 250;

// Parameters of the chunk statements: ?1 older_than, ?2 the rowid after
// which the chunk starts, ?3 its end (or its size), ?4 the last rowid the
// step may reach, ?5... the providers.
constexpr int first_provider_parameter = 5;

Statement prepare_bound(::sqlite3* db, std::string const& sql, PruneRequest const& request,
                        sqlite3_int64 after, sqlite3_int64 end, sqlite3_int64 bound) {
    Statement statement = prepare(db, sql);
    sqlite3_stmt* const s = statement.get();
    sqlite3_bind_int64(s, 1, request.older_than);
    sqlite3_bind_int64(s, 2, after);
    sqlite3_bind_int64(s, 3, end);
    sqlite3_bind_int64(s, 4, bound);
    for (std::size_t i = 0; i < request.providers.size(); ++i) {
        std::string const& provider = request.providers[i];
        bind_text(s, first_provider_parameter + static_cast<int>(i), provider);
    }
    return statement;
}

// Steps `statement` to its end; the first column of its row, if any.
sqlite3_int64 run(::sqlite3* db, Statement const& statement, sqlite3_int64 fallback) {
    sqlite3_int64 value = fallback;
    int rc;
    while ((rc = sqlite3_step(statement.get())) == SQLITE_ROW) {
        if (sqlite3_column_type(statement.get(), 0) != SQLITE_NULL) {
            value = sqlite3_column_int64(statement.get(), 0);
        }
    }
    if (rc != SQLITE_DONE) {
        fail(db);
    }
    return value;
}

// The rowid window_rowids past `after`, or `last` when that comes first;
// `last` is greater than `after`.
sqlite3_int64 window_end(sqlite3_int64 after, sqlite3_int64 last) {
    auto const distance = static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(after);
    return distance <= static_cast<std::uint64_t>(window_rowids) ? last : after + window_rowids;
}

::sqlite3* open_db(Database const& db) {
    if (db == nullptr) {
        throw std::runtime_error("not open");
    }
    return db.get();
}

void vacuum_in_steps(FairMutex& mutex, Database const& db) {
    sqlite3_int64 free_pages = -1;
    for (;;) {
        std::lock_guard<FairMutex> const lock(mutex);
        ::sqlite3* const connection = open_db(db);
        // 2 is INCREMENTAL; with any other mode the pragma does nothing.
        if (integer_of(connection, "PRAGMA auto_vacuum;", 0) != 2) {
            return;
        }
        sqlite3_int64 const before = free_pages;
        free_pages = integer_of(connection, "PRAGMA freelist_count;", 0);
        if (free_pages == 0 || free_pages == before) {
            return;
        }
        execute(connection, "PRAGMA incremental_vacuum(" + std::to_string(vacuum_pages) + ");");
    }
}

// Lowers the connection's automatic checkpoint to pruning_checkpoint_pages
// for its life, then restores it.
class SmallCheckpoints {
  public:
    SmallCheckpoints(FairMutex& mutex, Database const& db) : mutex_(mutex), db_(db) {
        std::lock_guard<FairMutex> const lock(mutex_);
        ::sqlite3* const connection = open_db(db_);
        usual_ = integer_of(connection, "PRAGMA wal_autocheckpoint;", usual_);
        execute(connection,
                "PRAGMA wal_autocheckpoint=" + std::to_string(pruning_checkpoint_pages) + ";");
    }
    ~SmallCheckpoints() {
        std::lock_guard<FairMutex> const lock(mutex_);
        if (db_ != nullptr) {
            sqlite3_wal_autocheckpoint(db_.get(), static_cast<int>(usual_));
        }
    }
    SmallCheckpoints(SmallCheckpoints const&) = delete;
    SmallCheckpoints& operator=(SmallCheckpoints const&) = delete;

  private:
    FairMutex& mutex_;
    Database const& db_;
    sqlite3_int64 usual_ = 1000;  // SQLite's default
};

}  // namespace

std::uint64_t prune_in_chunks(FairMutex& mutex, Database const& db, std::string const& path,
                              PruneRequest const& request, std::chrono::milliseconds time_limit) {
    auto const start = std::chrono::steady_clock::now();
    std::string const condition = common::prune_condition(request, common::Markers::numbered,
                                                          first_provider_parameter, " AS newer");
    std::string const chunk_end = "SELECT max(rowid) FROM (SELECT rowid FROM " + table_name +
                                  " WHERE rowid > ?2 AND rowid <= ?4 AND " + condition +
                                  " ORDER BY rowid LIMIT ?3);";
    std::string const next_row = "SELECT min(rowid) FROM " + table_name + " WHERE rowid > ?4;";
    std::string const chunk_work = (request.dry_run ? "SELECT count(*) FROM " : "DELETE FROM ") +
                                   table_name + " WHERE rowid > ?2 AND rowid <= ?3 AND " +
                                   condition + ";";
    std::uint64_t total = 0;
    sqlite3_int64 after = std::numeric_limits<sqlite3_int64>::min();
    std::optional<sqlite3_int64> last;
    SmallCheckpoints const small_checkpoints(mutex, db);
    for (;;) {
        std::lock_guard<FairMutex> const lock(mutex);
        ::sqlite3* const connection = open_db(db);
        if (!request.dry_run) {
            require_file_in_place(connection, path);
        }
        bool const finished = within_time_limit(
            connection, time_limit,
            [&] {
                // Rows stored after the pruning began are left to the next
                // one: writers beside it would otherwise keep it going.
                if (!last) {
                    last =
                        integer_of(connection, "SELECT max(rowid) FROM " + table_name + ";", after);
                }
                if (*last <= after) {
                    return true;
                }
                sqlite3_int64 const bound = window_end(after, *last);
                sqlite3_int64 const end = run(
                    connection,
                    prepare_bound(connection, chunk_end, request, after, chunk_rows, bound), after);
                if (end == after) {
                    // Nothing to remove up to `bound`: on from the next row,
                    // past any gap in the rowids.
                    sqlite3_int64 const next = run(
                        connection, prepare_bound(connection, next_row, request, after, 0, bound),
                        std::numeric_limits<sqlite3_int64>::max());
                    after = next > *last ? *last : next - 1;
                    return false;
                }
                Statement const work =
                    prepare_bound(connection, chunk_work, request, after, end, bound);
                sqlite3_int64 const counted = run(connection, work, 0);
                total += static_cast<std::uint64_t>(
                    request.dry_run ? counted : sqlite3_changes64(connection));
                after = end;
                return false;
            },
            start);
        if (finished) {
            break;
        }
        if (sqlite3_get_autocommit(connection) != 0) {
            // Outside a batch the chunk is committed; copy what the log holds
            // back now, while no other call of this process runs.
            sqlite3_wal_checkpoint_v2(connection, "main", SQLITE_CHECKPOINT_PASSIVE, nullptr,
                                      nullptr);
        }
    }
    if (!request.dry_run && total > 0) {
        vacuum_in_steps(mutex, db);
    }
    return total;
}

}  // namespace vexa::datastore::sqlite_plugin
