// A provider result written as one JSON object (a line of `insert`'s input).
#ifndef VEXA_TOOLS_VEXA_DATASTORE_JSON_RECORD_H_
#define VEXA_TOOLS_VEXA_DATASTORE_JSON_RECORD_H_

#include <cstdint>

#include <datastore/datastore.h>
#include <nlohmann/json.hpp>

namespace vexa::tool {

// Keys are named like the row's members. "Provider" and "Hostname" are
// required; "node_names" is an array of names and "num_nodes" defaults to
// its length; "Encoding" is a name ("none", "base64", "raw") or its number;
// "Timestamp" (seconds) defaults to the moment `now_us` (microseconds), and
// "Unique_timestamp" to "Timestamp" in microseconds when that is given, else
// to `now_us`. "Provider", "Hostname", "OptionID" and the node names must
// not hold a single quote. "rowid" and "datastore_source", which the json output
// carries, are accepted and ignored, so listed rows can be stored again.
// Throws std::runtime_error saying what is wrong for any other key, a value
// of the wrong type or beyond the published limits.
datastore::InsertRequest record_from_json(nlohmann::json const& object, std::int64_t now_us);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_JSON_RECORD_H_
