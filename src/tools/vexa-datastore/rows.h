// Rows read from the datastores, as a table to print.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_ROWS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_ROWS_H_

#include <vector>

#include <datastore/datastore.h>

#include "options.h"
#include "output.h"

namespace vexa::tool {

// In table form the columns people scan (provider, host, exit status,
// readable time, output); in json and csv every member of the row,
// named as the row names it, with node_names as an array (json) or joined
// with "," (csv) and Encoding by name, so json lines fit `insert` again.
Table rows_table(std::vector<datastore::Row> const& rows, Format format);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_ROWS_H_
