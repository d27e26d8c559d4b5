// Retention over ODBC: removing (or counting) the rows older than a stamp.
#ifndef VEXA_ODBC_PLUGIN_PRUNING_H_
#define VEXA_ODBC_PLUGIN_PRUNING_H_

#include <cstdint>

#include <datastore/operations.h>

#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// Removes with one plain DELETE (or, for a dry run, counts) the rows of the
// provider table that `request` describes, every value bound; returns
// their number. Throws OdbcError.
std::uint64_t prune(SQLHDBC dbc, PruneRequest const& request);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_PRUNING_H_
