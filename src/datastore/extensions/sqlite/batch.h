// A batch of the project's own operations on one connection: one
// transaction around any number of inserts.
#ifndef VEXA_SQLITE_PLUGIN_BATCH_H_
#define VEXA_SQLITE_PLUGIN_BATCH_H_

#include <string>

#include <sqlite3.h>

#include "batch_state.h"

namespace vexa::datastore::sqlite_plugin {

// The batch of one connection, a transaction. Not thread-safe: the
// extension holds its lock around every call.
class Batch : public common::BatchState {
  public:
    // Starts a transaction that takes the write lock at once, so that the
    // first insert never finds another writer in its way. False, leaving
    // everything as it was, when a batch is open already; throws
    // std::runtime_error with SQLite's text when the transaction cannot start.
    bool begin(::sqlite3* db);

    // Commits the open batch and ends it; true when there was none. A failed
    // batch ends with false. A commit that fails, or would go to a file no
    // longer at `path`, is rolled back and logged for the instance `name`,
    // with false; so is a commit that the file moved under while it ran,
    // its rows being in the moved file only.
    bool commit(::sqlite3* db, std::string const& name, std::string const& path) noexcept;

    // Rolls the open batch back after `reason` and logs it for the instance
    // `name`; the batch stays open, failed, until commit() ends it. When the
    // file has moved, its log is then detached from the path
    // (detach_log_from_path).
    void roll_back(::sqlite3* db, std::string const& name, std::string const& reason) noexcept;
};

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_BATCH_H_
