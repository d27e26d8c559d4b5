// Telling "no rows" from "the datastore failed".
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_FAILED_DATASTORES_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_FAILED_DATASTORES_H_

#include <string>

#include <datastore/datastore.h>

namespace vexa::tool {

// The front end's query functions answer false alike for "no rows" and for
// "every datastore failed", and log failures only at debug level. After an
// empty answer this runs `opcode` with `parameters` once more on each
// datastore holding data, on its own through execute_ioctl, and throws
// std::runtime_error naming the first datastore that failed and `request`
// (what was asked, e.g. `the query "SELECT 1"`). Returns when every datastore
// simply had no rows.
void throw_if_a_datastore_failed(unsigned short opcode, datastore::ReadParameters const& parameters,
                                 std::string const& request);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_FAILED_DATASTORES_H_
