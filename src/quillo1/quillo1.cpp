#include <quillo1/quillo1.h>

#include <sqlite3.h>

namespace quillo1 {

Connection::Connection(::sqlite3* db) : db_(db) {}

Connection::~Connection() { sqlite3_close_v2(db_); }

int Connection::issueCommand(std::string const& sql) {
    char* message = nullptr;
    int const rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &message);
    last_error_ = message != nullptr ? message : "";
    sqlite3_free(message);
    return rc == SQLITE_OK ? 0 : rc;
}

int newConnection(std::string const& file, int /*flags*/, Connection** out) {
    *out = nullptr;
    ::sqlite3* db = nullptr;
    int const rc =
        sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_close_v2(db);
        return rc;
    }
    *out = new Connection(db);
    return 0;
}

}  // namespace quillo1
