#include "file_in_place.h"

#include <stdexcept>

namespace vexa::datastore::sqlite_plugin {

bool file_has_moved(::sqlite3* db) {
    int moved = 0;
    // SQLite compares the open file's inode with the one at the path; a
    // missing path counts as moved.
    return sqlite3_file_control(db, "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK &&
           moved != 0;
}

std::string moved_file_reason(std::string const& path) {
    return "the database file " + path +
           " was deleted, renamed or replaced while open; nothing more is written to it";
}

void detach_log_from_path(::sqlite3* db) noexcept {
    if (sqlite3_get_autocommit(db) != 0) {
        sqlite3_wal_checkpoint_v2(db, "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    }
}

void require_file_in_place(::sqlite3* db, std::string const& path) {
    if (file_has_moved(db)) {
        detach_log_from_path(db);
        throw std::runtime_error(moved_file_reason(path));
    }
}

}  // namespace vexa::datastore::sqlite_plugin
