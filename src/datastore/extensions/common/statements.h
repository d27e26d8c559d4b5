// The SQL texts both plug-ins run, each written once; a plug-in adds only
// what its database system needs around them (a terminating ";", say).
#ifndef VEXA_PLUGIN_COMMON_STATEMENTS_H_
#define VEXA_PLUGIN_COMMON_STATEMENTS_H_

#include <cstddef>
#include <string>

#include <datastore/operations.h>

namespace vexa::datastore::common {

// How parameter markers are written: "?1", "?2", ... or plain "?".
enum class Markers { numbered, plain };

// The composed hosts query: the latest record of the provider "uname" for
// every host, as SQLite groups it.
std::string composed_hosts_query();

// "INSERT INTO provider_datastore(Provider, ..., Unique_timestamp)
// VALUES(?1, ..., ?14)": every column of record_columns but rowid, in order,
// one marker each (numbered from 1 or plain), without a terminating ";".
std::string insert_query(Markers markers);

// "provider_datastore_latest", the index on (Provider, Hostname, OptionID,
// Unique_timestamp newest first) that serves the latest-row query, whose
// GROUP BY takes these columns in any order, the host query and pruning
// with keep_latest.
std::string latest_row_index_name();
// Its DDL, "CREATE INDEX IF NOT EXISTS ...", without a terminating ";".
std::string create_latest_row_index();

// The WHERE condition (without "WHERE") over the provider table of the rows
// `request` describes: "Unique_timestamp < ?", with parameter 1; then the
// providers, with parameters from `first_provider_parameter` on; then, with
// keep_latest, the existence of a newer row of the same provider, host and
// option, the table aliased with `newer_alias` (" AS newer" or " newer").
std::string prune_condition(PruneRequest const& request, Markers markers,
                            std::size_t first_provider_parameter, char const* newer_alias);

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_STATEMENTS_H_
