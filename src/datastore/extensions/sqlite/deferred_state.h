// The latest-row state of a batch that only inserts, written once per pair
// when the batch ends instead of once per row by the file's triggers.
#ifndef VEXA_SQLITE_PLUGIN_DEFERRED_STATE_H_
#define VEXA_SQLITE_PLUGIN_DEFERRED_STATE_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>

#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

// While active, the connection's triggers are off and the batch's rows are
// noted here; write() then brings the state table to what the triggers
// would have made of them. Other programs' writes still go through the
// triggers, which are per connection. Not thread-safe: the extension holds
// its lock around every call.
class DeferredState {
  public:
    DeferredState() = default;
    DeferredState(DeferredState const&) = delete;
    DeferredState& operator=(DeferredState const&) = delete;
    ~DeferredState() = default;

    // Turns the triggers of `db`, a file holding the state, off in its open
    // transaction, unless the file holds a trigger besides the state's own:
    // another program's trigger, or the one skipping retried records, must
    // see every row. Throws std::runtime_error when the triggers cannot be
    // listed or switched.
    void start(::sqlite3* db);
    bool active() const { return db_ != nullptr; }

    // Notes the row just stored with `rowid`.
    void note(std::string const& provider, std::string const& hostname,
              std::string const& option_id, std::int64_t unique_timestamp, std::int64_t rowid);

    // Upserts the noted rows' pairs into the state inside the batch's
    // transaction and forgets them. Throws std::runtime_error with SQLite's
    // text; the caller then rolls the batch back.
    void write();

    // Forgets what was noted and turns the triggers back on. Safe to call
    // when not active.
    void stop() noexcept;

  private:
    struct Latest {
        std::int64_t unique_timestamp;
        std::int64_t rowid;
    };
    using Pair = std::tuple<std::string, std::string, std::string>;

    ::sqlite3* db_ = nullptr;
    std::map<Pair, Latest, std::less<>> latest_;  // std::less<> finds by a tuple of references
};

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_DEFERRED_STATE_H_
