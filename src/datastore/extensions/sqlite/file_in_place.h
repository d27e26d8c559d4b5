// Whether the database file an instance has open is still the one at its
// path: a file deleted, renamed away or replaced while open keeps taking
// writes through the open descriptor, rows nobody will ever find.
#ifndef VEXA_SQLITE_PLUGIN_FILE_IN_PLACE_H_
#define VEXA_SQLITE_PLUGIN_FILE_IN_PLACE_H_

#include <string>

#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

// Whether the file `db` has open is no longer the file at its path (deleted,
// renamed away, or another file put in its place).
bool file_has_moved(::sqlite3* db);

// Why nothing more is written to the moved database file `path`.
std::string moved_file_reason(std::string const& path);

// Copies the write-ahead log of the moved file `db` has open into that file
// and empties the log: the log still sits at the path, where SQLite would
// otherwise replay it into whatever file now lies there and damage it. Does
// nothing inside a transaction (roll it back first). Never throws.
void detach_log_from_path(::sqlite3* db) noexcept;

// Throws std::runtime_error with moved_file_reason(path) when the file `db`
// has open has moved, after detach_log_from_path.
void require_file_in_place(::sqlite3* db, std::string const& path);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_FILE_IN_PLACE_H_
