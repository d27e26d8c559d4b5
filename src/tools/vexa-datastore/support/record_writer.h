// Storing provider results through the library's OP_INSERT, in batches
// where the datastore serves them.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_RECORD_WRITER_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_RECORD_WRITER_H_

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

// Hands each record to execute_ioctl(OP_INSERT), which stores it in the
// first target datastore that accepts it, and counts where records went.
// Every target that serves OP_BEGIN_BATCH takes its records in batches of
// `batch_size`, each committed together; the others commit record by record.
class RecordWriter {
  public:
    // `target` empty: every open datastore, in registry order. Throws
    // std::runtime_error when `target` names no open datastore.
    RecordWriter(std::string const& target, std::size_t batch_size);
    // Commits what is left (a batch left open is committed by the datastore
    // anyway when it closes).
    ~RecordWriter();
    RecordWriter(RecordWriter const&) = delete;
    RecordWriter& operator=(RecordWriter const&) = delete;

    // False when no target stored the record; last_error() then says why,
    // in the words of each plug-in that refused it: "\"NAME\": REASON; ...".
    bool write(datastore::InsertRequest& record);
    std::string const& last_error() const { return last_error_; }
    // Commits the open batches, every one even when another fails. Throws
    // std::runtime_error naming each datastore whose commit failed, how many
    // records it lost and why; report() then counts what the others hold.
    void finish();
    // Commits what the open batches hold, each even when another fails, so
    // that report() counts it, for a command stopping on another failure.
    // Returns the failed commits as finish() words them, "" when none.
    std::string commit_open_batches();

    // Records stored and committed.
    std::size_t stored() const { return stored_; }
    // "stored 3 records in vexa_default (sqlite3 /home/u/... (read-write))",
    // one clause per datastore that received records, counting committed
    // records only.
    std::string report() const;
    // The targets named and described: "\"ro\" (sqlite3 /x/ro.db (read-only))".
    std::string described_targets() const;

  private:
    void begin_batches();
    void commit_batches();

    std::vector<std::string> targets_;
    std::size_t batch_size_;
    std::set<std::string> batched_;  // targets serving batches
    std::size_t stored_ = 0;
    std::map<std::string, std::size_t> counts_;        // committed, by instance name
    std::map<std::string, std::size_t> pending_;       // in the open batches
    std::map<std::string, std::string> descriptions_;  // by instance name
    std::string last_error_;
};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_RECORD_WRITER_H_
