#include "batch.h"

#include "instance_log.h"
#include "sqlite_calls.h"

namespace vexa::datastore::sqlite_plugin {

bool Batch::begin(::sqlite3* db) {
    if (is_open()) {
        return false;
    }
    execute(db, "BEGIN IMMEDIATE;");
    state_ = State::open;
    return true;
}

bool Batch::commit(::sqlite3* db, std::string const& name) noexcept {
    if (state_ == State::none) {
        return true;
    }
    if (state_ == State::failed) {
        state_ = State::none;
        return false;
    }
    if (sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr) == SQLITE_OK) {
        state_ = State::none;
        return true;
    }
    roll_back(db, name, sqlite3_errmsg(db));
    state_ = State::none;
    return false;
}

void Batch::roll_back(::sqlite3* db, std::string const& name, std::string const& reason) noexcept {
    // Some errors (a full disk, for one) end the transaction themselves.
    if (sqlite3_get_autocommit(db) == 0) {
        sqlite3_exec(db, "ROLLBACK;", nullptr, nullptr, nullptr);
    }
    state_ = State::failed;
    log_instance_failure(name, "batch rolled back: " + reason);
}

}  // namespace vexa::datastore::sqlite_plugin
