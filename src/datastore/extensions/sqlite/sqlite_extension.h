// The SQLite datastore: one database file per instance, read through the
// view and written through the provider table.
#ifndef VEXA_SQLITE_PLUGIN_SQLITE_EXTENSION_H_
#define VEXA_SQLITE_PLUGIN_SQLITE_EXTENSION_H_

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <datastore/operations.h>

#include "batch.h"
#include "deferred_state.h"
#include "fair_mutex.h"
#include "plugin_extension.h"
#include "sqlite_calls.h"

namespace vexa::datastore::sqlite_plugin {

class SqliteExtension : public common::PluginExtension {
  public:
    ~SqliteExtension() override;

    // Reads "source=PATH|read_only=true|false|synchronous=normal|full|
    // timeout=SECONDS" (any order, the path possibly quoted; missing items
    // default to DEFAULT_DATA_SOURCE, writable, normal and no time limit),
    // expands variables and a leading "~" in the path and opens the file.
    // The timeout becomes the time limit of every later call (OP_SET_TIME_LIMIT
    // changes it): a call running longer fails, its reason saying it timed
    // out, and the instance stays usable. Returns 0, or 1 when the
    // text is malformed, holds an unknown key or value, or the file cannot be
    // opened as asked; the reason is logged at level 4. Never throws.
    int open_instance(std::string const& source_parameters) override;
    // Whether the database is open.
    bool is_ready() override;
    // "sqlite3 /home/u/.vexa/2021.4.0/vexa.db (read-write)" or "(read-only)".
    std::string describe() const override;

    // Runs the first statement of `query` (whatever follows is ignored) and
    // appends its rows. Throws std::runtime_error with SQLite's text on an
    // SQL error, and refuses a statement that would write, attach, detach,
    // open a transaction or change a setting; the reason is logged at level 4.
    bool select(std::string query, std::vector<Row>& out,
                std::map<std::string, int> const& fields) override;
    // Appends one row to the provider table; SQLite numbers it. False on a
    // read-only instance, which is never written, and inside a batch lost
    // to an earlier failure. Throws std::runtime_error, its reason logged at
    // level 4, when SQLite fails or a node name holds a comma; inside a
    // batch that failure rolls the whole batch back.
    bool insert(provider::header const& header, std::string const& option_id,
                std::string const& stdout_text, std::string const& stderr_text) override;

    // From the latest-row state when the file holds it, otherwise the
    // composed query; the same rows either way.
    bool get_latest_rows_provider(std::vector<std::string> providers, std::vector<Row>& out,
                                  std::vector<std::string> hosts) override;

  private:
    // The project's own operations, in sqlite_operations.cpp; each takes the
    // lock below.
    int query_table_operation(std::string const& sql, Table& out) override;
    // In streamed_query.cpp: steps the statement, so the instance holds one
    // block at a time; its lock is held until the read ends.
    int stream_query_operation(StreamRequest const& request, StreamResult& result) override;
    bool begin_batch() override;
    bool commit_batch() override;
    int prune_operation(PruneRequest const& request, std::uint64_t& removed) override;
    // In failing_since.cpp.
    int failing_since_operation(std::vector<RunPairBound> const& pairs,
                                std::vector<RunPairHistory>& out) override;

    void close() noexcept;
    // Writes the state of the batch's inserts so far and turns the triggers
    // back on, before any operation but another insert touches the file
    // within a batch; a failure rolls the batch back and is passed on.
    void end_deferred_state();
    // Commits the open batch, its deferred state first; true when there was
    // none. Never throws.
    bool commit_open_batch() noexcept;
    // After inserts, a read first refreshes the query planner's statistics
    // (the lock held), so that its plan fits the table as it is now; and
    // within a batch it first sees the state of the batch's inserts.
    void refresh_statistics_after_inserts();

    // One connection and its prepared statements serve every thread of the
    // process: each public operation that touches them holds this lock, and
    // none of them calls another, so it need not be recursive. Threads get
    // it in the order they asked, so one that waits behind the pruning
    // waits for one of its chunks, not for all of them.
    mutable FairMutex mutex_;

    std::string path_;
    bool read_only_ = false;
    // Whether the instance is open, and whether its file holds the
    // latest-row state: set under the lock, read without it, so that a read
    // waits for its turn behind the pruning once, not once per question.
    std::atomic<bool> open_{false};
    std::atomic<bool> has_state_{false};
    Database db_;
    Statement insert_statement_;  // prepared once, for the life of the instance
    bool inserted_since_analysis_ = false;
    Batch batch_;  // committed by close() when still open
    // The state of a batch that has only inserted so far.
    DeferredState deferred_state_;
};

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_SQLITE_EXTENSION_H_
