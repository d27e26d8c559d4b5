#include "deferred_state.h"

#include <stdexcept>

#include "sqlite_calls.h"
#include "sqlite_schema.h"

namespace vexa::datastore::sqlite_plugin {

void DeferredState::start(::sqlite3* db) {
    if (integer_of(db, common::sqlite_other_triggers_query() + ";", 1) != 0) {
        return;
    }
    // Switching them expires the connection's prepared statements, which
    // SQLite prepares again on their next step: once per batch.
    if (sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr) != SQLITE_OK) {
        throw std::runtime_error("the connection's triggers could not be switched off");
    }
    db_ = db;
}

void DeferredState::note(std::string const& provider, std::string const& hostname,
                         std::string const& option_id, std::int64_t unique_timestamp,
                         std::int64_t rowid) {
    Latest const row{unique_timestamp, rowid};
    // Looked up by reference: most rows of a batch find their pair noted.
    auto const it = latest_.find(std::tie(provider, hostname, option_id));
    if (it == latest_.end()) {
        latest_.emplace(Pair{provider, hostname, option_id}, row);
    } else if (unique_timestamp > it->second.unique_timestamp) {
        // Rowids grow, so among equal stamps the one noted first stays.
        it->second = row;
    }
}

void DeferredState::write() {
    if (latest_.empty()) {
        return;
    }
    Statement const upsert = prepare(db_, common::sqlite_state_upsert() + ";");
    for (auto const& [pair, latest] : latest_) {
        auto const& [provider, hostname, option_id] = pair;
        bind_text(upsert.get(), 1, provider);
        bind_text(upsert.get(), 2, hostname);
        bind_text(upsert.get(), 3, option_id);
        sqlite3_bind_int64(upsert.get(), 4, latest.unique_timestamp);
        sqlite3_bind_int64(upsert.get(), 5, latest.rowid);
        if (sqlite3_step(upsert.get()) != SQLITE_DONE) {
            fail(db_);
        }
        sqlite3_reset(upsert.get());
    }
    latest_.clear();
}

void DeferredState::stop() noexcept {
    latest_.clear();
    if (db_ != nullptr) {
        sqlite3_db_config(db_, SQLITE_DBCONFIG_ENABLE_TRIGGER, 1, nullptr);
        db_ = nullptr;
    }
}

}  // namespace vexa::datastore::sqlite_plugin
