// Storing provider results through the library's OP_INSERT.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_RECORD_WRITER_H_
#define VEXA_TOOLS_VEXA_DATASTORE_RECORD_WRITER_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

// Hands each record to execute_ioctl(OP_INSERT), which stores it in the
// first target datastore that accepts it, and counts where records went.
class RecordWriter {
  public:
    // `target` empty: every open datastore, in registry order. Throws
    // std::runtime_error when `target` names no open datastore.
    explicit RecordWriter(std::string const& target);

    // False when no target stored the record.
    bool write(datastore::InsertRequest& record);

    std::size_t stored() const { return stored_; }
    // "stored 3 records in vexa_default (sqlite3 /home/u/... (read-write))",
    // one clause per datastore that received records.
    std::string report() const;
    std::vector<std::string> const& targets() const { return targets_; }

  private:
    std::vector<std::string> targets_;
    std::size_t stored_ = 0;
    std::map<std::string, std::size_t> counts_;        // by instance name
    std::map<std::string, std::string> descriptions_;  // by instance name
};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_RECORD_WRITER_H_
