// Reading the datastore configuration and opening its instances through the
// library's registration.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OPEN_DATASTORES_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OPEN_DATASTORES_H_

#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

struct ConfiguredDatastore {
    datastore::DataStoreConfig config;  // vacant fields completed
    std::string error;                  // why it did not open; empty when it did
};

// Reads the group document `config_file` (or, when it is empty, takes the
// default datastore, the SQLite file $HOME/.vexa/2021.4.0/vexa.db) and opens
// every instance on its own, so that one that fails does not keep the others
// closed. Opened instances are in the library's registry afterwards. Throws
// std::runtime_error naming the file when the document cannot be read or
// names no datastore.
std::vector<ConfiguredDatastore> open_configured_datastores(std::string const& config_file);

// As open_configured_datastores, but throws std::runtime_error naming the
// first instance that did not open.
void open_datastores_or_fail(std::string const& config_file);

// The plug-in file an instance loads.
std::string library_path(datastore::DataStoreConfig const& config);

// Where an instance keeps its data: the expanded database path of an SQLite
// instance, the source parameters of any other.
std::string data_source(datastore::DataStoreConfig const& config);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OPEN_DATASTORES_H_
