// The configuration record of one datastore instance, and the pairs in which
// open instances travel.
#ifndef VEXA_DATASTORE_CONFIG_H_
#define VEXA_DATASTORE_CONFIG_H_

#include <bitset>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <datastore/vocabulary.h>

namespace vexa::datastore {

class DataStoreExtension;

// One configured datastore instance. A plain value type; moving it empties
// the source's strings but leaves its `type` and `source_types`.
struct DataStoreConfig {
    DatabaseType type = sqlite3;
    std::string instance_name;
    std::string extension_name;     // plug-in file name, e.g. "libsqlite.so"
    std::string extension_path;     // directory holding the plug-in
    std::string source_parameters;  // handed unchanged to the plug-in
    std::bitset<2> source_types;    // bits indexed by Source_Type
};

// An open instance: its configuration and a non-owning handle to the
// extension object that the controller owns. The handle expires when the
// instance is closed.
using DataStoreInstance = std::pair<const DataStoreConfig, const std::weak_ptr<DataStoreExtension>>;

// Open instances and configurations without an open extension.
struct CombinedRType {
    std::vector<std::pair<DataStoreConfig, std::weak_ptr<DataStoreExtension>>> instances;
    std::vector<DataStoreConfig> configurations;
};

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_CONFIG_H_
