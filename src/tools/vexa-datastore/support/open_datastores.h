// Reading the datastore configuration and opening its instances through the
// library's registration.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_OPEN_DATASTORES_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_OPEN_DATASTORES_H_

#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

// What a command does with the datastores. Reading opens every SQLite
// instance read-only, so reading commands never create or change a file.
enum class Access { read, write };

struct ConfiguredDatastore {
    datastore::DataStoreConfig config;  // vacant fields completed
    std::string error;                  // why it did not open; empty when it did
};

// Reads the group document `config_file` (or, when it is empty, takes the
// default datastore, the SQLite file datastore::DEFAULT_DATA_SOURCE) and opens
// every instance on its own, so that one that fails does not keep the others
// closed. Source parameters that the plug-in would refuse are refused here,
// for reading and writing alike, naming the key, and the instance is not
// opened. Opened instances are in the library's registry afterwards, each
// with the time limit of support/time_limit.h; the error of one that did not
// open is the plug-in's own reason when it gave one. Throws std::runtime_error naming the file when
// the document cannot be read or names no datastore, and, for reading, when the default datastore
// does not exist yet (saying how to create it).
std::vector<ConfiguredDatastore> open_configured_datastores(std::string const& config_file,
                                                            Access mode);

// As open_configured_datastores, then one warning line on standard error
// for each instance that did not open. Throws std::runtime_error naming the
// first instance when none opened. Returns how many did not open.
std::size_t open_datastores(std::string const& config_file, Access mode);

// The plug-in file an instance loads.
std::string library_path(datastore::DataStoreConfig const& config);

// Where an instance keeps its data: the expanded database path of an SQLite
// instance, the source parameters of any other.
std::string data_source(datastore::DataStoreConfig const& config);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_OPEN_DATASTORES_H_
