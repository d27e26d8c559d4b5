// Opening the database file of an instance.
#ifndef VEXA_SQLITE_PLUGIN_DATABASE_FILE_H_
#define VEXA_SQLITE_PLUGIN_DATABASE_FILE_H_

#include <string>

#include "sqlite_calls.h"

namespace vexa::datastore::sqlite_plugin {

// Opens the existing database file `path` for reading only: nothing is ever
// written to it, not even the journal mode. Throws std::runtime_error with
// SQLite's text when the file is missing or is not a database.
Database open_read_only(std::string const& path);

// Opens or creates the database file `path` (and its missing parent
// directories) for reading and writing, creates the provider table, the
// baseline table, the view and the latest-row index when missing, and
// switches to the WAL journal, whose -wal and -shm files stay in place for
// readers who cannot create them. Commits are flushed to disk each time with
// `full_sync`, otherwise at checkpoints. Throws std::runtime_error with the
// reason when the file cannot be written or is not a database; such a file
// is left as it was.
Database open_writable(std::string const& path, bool full_sync);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_DATABASE_FILE_H_
