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
// VALUES(?1, ..., ?14) ON CONFLICT DO NOTHING": every column of
// record_columns but rowid, in order, one marker each (numbered from 1 or
// plain), without a terminating ";". A record whose run key is stored
// already is skipped without an error, so a caller may retry an insert that
// was reported failed but reached the database.
std::string insert_query(Markers markers);

// "provider_datastore_latest", the index on (Provider, Hostname, OptionID,
// Unique_timestamp newest first) that serves the latest-row query, whose
// GROUP BY takes these columns in any order, the host query, pruning with
// keep_latest and the state's triggers.
std::string latest_row_index_name();
// Its DDL, "CREATE INDEX IF NOT EXISTS ...", without a terminating ";".
std::string create_latest_row_index();
// The same index unique over the run key, so that a retried record is
// stored once: "CREATE UNIQUE INDEX ..." without a terminating ";", which
// replaces the plain one and fails on a table that holds one run twice
// already. As in SQL, a NULL in the key never matches: such rows come only
// from other programs, and stay as they wrote them.
std::string create_unique_latest_row_index();

// "provider_datastore_passed", the partial index of the passing runs
// (Exit_status 0) on (Provider, Hostname, OptionID, Unique_timestamp), which
// finds a pair's last passing run in one lookup however long its history.
std::string passing_run_index_name();
// Its DDL, "CREATE INDEX IF NOT EXISTS ... WHERE Exit_status = 0", without a
// terminating ";"; SQLite and PostgreSQL take the same text.
std::string create_passing_run_index();

// The lookups of OP_FAILING_SINCE over the provider table, with plain "?"
// markers bound in this order: Provider, Hostname, then OptionID unless
// `null_option` (then the rows whose OptionID is NULL are looked up), then
// the lookup's own value. Without a terminating ";".
// The greatest Unique_timestamp of the pair's passing runs, a NULL when none
// passed; the index of passing runs answers it in one lookup.
std::string last_pass_query(bool null_option);
// Unique_timestamp, rowid and Timestamp of the pair's run with the least
// Unique_timestamp not below the last parameter, the first stored among
// equal stamps; the latest-row index finds it without a scan.
std::string first_run_from_query(bool null_option);

// "provider_datastore_state": the latest record of every (Provider,
// Hostname, OptionID) of the provider table, as (Provider, Hostname,
// OptionID, Unique_timestamp, latest_rowid), kept by the database's own
// triggers: the row with the greatest Unique_timestamp, the first stored
// (lowest rowid) among equal stamps.
std::string state_table_name();

// The latest rows read from the state, around the where clause that
// interface::select_latest_rows composes over the columns Provider and
// Hostname: the view's rows the state points to, in the order of
// (Provider, Hostname, OptionID).
std::string latest_rows_from_state_head();
std::string latest_rows_from_state_tail();

// The hosts query answered from the state: for every host, the latest
// record of the provider "uname" over all its options (the first option
// in order among equal stamps), by host.
std::string hosts_from_state_query();

// The WHERE condition (without "WHERE") over the provider table of the rows
// `request` describes: "Unique_timestamp < ?", with parameter 1; then the
// providers, with parameters from `first_provider_parameter` on; then, with
// keep_latest, the existence of a newer row of the same provider, host and
// option, the table aliased with `newer_alias` (" AS newer" or " newer").
std::string prune_condition(PruneRequest const& request, Markers markers,
                            std::size_t first_provider_parameter, char const* newer_alias);

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_STATEMENTS_H_
