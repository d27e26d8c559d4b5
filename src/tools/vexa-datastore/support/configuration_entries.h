// The entries of a group document as loading would read them, each with the
// place in the files that a fault of it points to.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_CONFIGURATION_ENTRIES_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_CONFIGURATION_ENTRIES_H_

#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

struct ConfigurationEntry {
    std::string label;     // the instance's name, else the entry's text; "" for a stop
    std::string entry_at;  // "FILE:LINE" of the entry; "" for the default instance
    std::string file_at;   // "FILE:LINE" of the instance file's root, else entry_at
    // Why the library refuses the entry, its own words first, and where that
    // lies; empty when `config` holds the record loading would open, vacant
    // fields completed.
    std::string fault;
    std::string fault_at;
    datastore::DataStoreConfig config;
};

// Every entry of the group document `file` in document order, each read by
// the library's own entry reader, a faulty one among them with its fault;
// where the library's walk stops early, one more entry holds that fault. For
// an empty `file`, the default instance. Reads files only. Throws
// std::runtime_error naming `file` when it cannot be read or is not XML.
std::vector<ConfigurationEntry> read_configuration_entries(std::string const& file);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_CONFIGURATION_ENTRIES_H_
