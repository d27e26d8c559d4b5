#include "batch.h"

#include "file_in_place.h"
#include "instance_log.h"
#include "sqlite_calls.h"

namespace vexa::datastore::sqlite_plugin {

bool Batch::begin(::sqlite3* db) {
    if (is_open()) {
        return false;
    }
    execute(db, "BEGIN IMMEDIATE;");
    mark_running();
    return true;
}

bool Batch::commit(::sqlite3* db, std::string const& name, std::string const& path) noexcept {
    if (!is_open()) {
        return true;
    }
    if (has_failed()) {
        mark_ended();
        return false;
    }
    if (file_has_moved(db)) {
        roll_back(db, name, moved_file_reason(path));
        mark_ended();
        return false;
    }
    if (sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr) == SQLITE_OK) {
        mark_ended();
        if (file_has_moved(db)) {
            detach_log_from_path(db);
            common::log_instance_failure(
                name, "batch committed to a file no longer there: " + moved_file_reason(path));
            return false;
        }
        return true;
    }
    roll_back(db, name, sqlite3_errmsg(db));
    mark_ended();
    return false;
}

void Batch::roll_back(::sqlite3* db, std::string const& name, std::string const& reason) noexcept {
    // Some errors (a full disk, for one) end the transaction themselves.
    if (sqlite3_get_autocommit(db) == 0) {
        sqlite3_exec(db, "ROLLBACK;", nullptr, nullptr, nullptr);
    }
    // Only now, outside the transaction, can a log left at a moved file's
    // path be handed to that file.
    if (file_has_moved(db)) {
        detach_log_from_path(db);
    }
    mark_failed();
    common::log_instance_failure(name, "batch rolled back: " + reason);
}

}  // namespace vexa::datastore::sqlite_plugin
