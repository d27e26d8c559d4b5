#include "database_file.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "planner_statistics.h"
#include "schema.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// Another process writing the same file holds its lock only for the length
// of one transaction; wait that long rather than fail.
constexpr int busy_timeout_ms = 10000;

Database open_connection(std::string const& path, int flags) {
    ::sqlite3* db = nullptr;
    int const rc = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
    Database owned(db);
    if (rc != SQLITE_OK) {
        if (db == nullptr) {
            throw std::runtime_error(sqlite3_errstr(rc));
        }
        fail(db);
    }
    sqlite3_busy_timeout(db, busy_timeout_ms);
    return owned;
}

void create_parent_directories(std::string const& path) {
    std::filesystem::path const parent = std::filesystem::path(path).parent_path();
    if (parent.empty()) {
        return;
    }
    std::error_code error;
    std::filesystem::create_directories(parent, error);
    if (error) {
        throw std::runtime_error("cannot create directory " + parent.string() + ": " +
                                 error.message());
    }
}

// Readers who may not write the directory (other users, read-only
// instances) can read a WAL database only while its -wal and -shm files
// exist: keep them when the last connection closes, the log emptied. SQLite
// gives them the database file's permissions, so whoever may read the file
// may read them too.
void keep_log_files(::sqlite3* db) {
    int keep = 1;
    sqlite3_file_control(db, "main", SQLITE_FCNTL_PERSIST_WAL, &keep);
    // Any limit empties the kept log at close; this one is above the
    // checkpoint interval, so it never cuts the log while it is in use.
    execute(db, "PRAGMA journal_size_limit=67108864;");
}

}  // namespace

Database open_read_only(std::string const& path) {
    Database db = open_connection(path, SQLITE_OPEN_READONLY);
    // Opening is lazy: reading the schema is what finds out whether the file
    // is a database at all.
    integer_of(db.get(), "SELECT count(*) FROM sqlite_master;", 0);
    return db;
}

Database open_writable(std::string const& path, bool full_sync) {
    create_parent_directories(path);
    Database db = open_connection(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    // SQLite quietly falls back to reading only when the file is
    // write-protected; a writable instance must be able to write.
    if (sqlite3_db_readonly(db.get(), "main") == 1) {
        throw std::runtime_error("attempt to write a readonly database");
    }
    // The first statement reads the file header, so a file that is not a
    // database fails here, before anything is written to it. Incremental
    // vacuum lets pruning hand freed pages back in small steps; it takes
    // effect only in a file still without a page, and setting it on an
    // existing file would wait for the write lock behind every busy writer.
    if (integer_of(db.get(), "PRAGMA page_count;", 0) == 0) {
        execute(db.get(), "PRAGMA auto_vacuum=INCREMENTAL;");
    }
    execute(db.get(), "PRAGMA journal_mode=WAL;");
    // NORMAL loses no committed row on a crash of the program and spares a
    // disk flush per inserted row, but a power failure may take the last
    // commits (never the file's integrity); FULL flushes at every commit.
    execute(db.get(), full_sync ? "PRAGMA synchronous=FULL;" : "PRAGMA synchronous=NORMAL;");
    // Rows arrive one transaction each; copying the log back into the file
    // every 10,000 pages (about 40 MB) rather than every 1,000 writes each
    // hot page back less often: about a third more rows per second.
    execute(db.get(), "PRAGMA wal_autocheckpoint=10000;");
    keep_log_files(db.get());
    create_schema(db.get(), path);
    refresh_planner_statistics(db.get());
    return db;
}

}  // namespace vexa::datastore::sqlite_plugin
