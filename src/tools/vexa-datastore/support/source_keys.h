// An instance's source parameters, checked as its plug-in reads them,
// without opening anything.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_SOURCE_KEYS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_SOURCE_KEYS_H_

#include <string>

#include <datastore/datastore.h>

namespace vexa::tool {

// Why the plug-in of `config`'s type would refuse its source parameters, or
// "" when it would take them (the SQLite and ODBC plug-ins; any other type
// takes anything). An unknown key is reported with the key it was probably
// meant to be.
std::string source_parameters_fault(datastore::DataStoreConfig const& config);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_SOURCE_KEYS_H_
