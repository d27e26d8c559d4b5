// The query that the select command streams from every datastore.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_SELECTION_QUERY_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_SELECTION_QUERY_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "support/options.h"

namespace vexa::tool {

// The rows of `providers` under `condition` (when not blank), composed as the
// library composes a provider selection. With global.sort_by_time, ordered by
// Timestamp, then Unique_timestamp, then rowid, and cut to `limit` rows when
// it is not 0; that order matches the tool's own sort only within one
// datastore, so then nullopt when more than one datastore holds data: the
// rows must be merged whole.
std::optional<std::string> selection_query(std::vector<std::string> const& providers,
                                           std::string const& condition, std::size_t limit,
                                           GlobalOptions const& global);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_SELECTION_QUERY_H_
