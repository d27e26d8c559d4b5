// Reading the open datastores through the library's query functions. A
// datastore that fails is noted (support/datastore_failures.h) and the rows
// of the others are the answer; when none answers, NoDatastoreAnswered.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_STORED_DATA_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_STORED_DATA_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

// The rows that `query` answers in every open datastore, their `columns`
// read into the row's members of those names; `request` says what was asked
// in the failures noted.
std::vector<datastore::Row> selected_rows(std::string const& query,
                                          std::vector<std::string> const& columns,
                                          std::string const& request);

// The provider names stored in any open datastore, sorted. Names holding a
// single quote (stored by another program) cannot be queried: they are left
// out with one warning on standard error.
std::vector<std::string> stored_providers();

// Throws std::runtime_error for the first of `providers` that no datastore
// holds, with the nearest stored name: "no provider 'cpu_lod'; did you mean
// 'cpu_load'?".
void require_stored(std::vector<std::string> const& providers);

// The latest row of each of `providers` (empty: every stored provider) on
// each of `hosts` (empty: every host), from the datastores that answered.
std::vector<datastore::Row> latest_rows(std::vector<std::string> providers,
                                        std::vector<std::string> const& hosts);

// For each of `latest` (as latest_rows gives them, in that order), the
// Timestamp since which its provider, host and option has been failing:
// nullopt for a passing row, and for a failing one that no datastore could
// look up (a datastore that does not keep history answers nothing). One
// call of the library's failing_since() for all of them.
std::vector<std::optional<std::int64_t>> failing_since_of(
    std::vector<datastore::Row> const& latest);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_STORED_DATA_H_
