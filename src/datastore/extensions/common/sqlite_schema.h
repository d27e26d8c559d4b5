// The parts of the SQLite schema that both plug-ins create (the SQLite
// plug-in on its file, the ODBC plug-in through the SQLite ODBC driver):
// the latest-row state with the triggers that keep it, and the trigger that
// stands in for the unique latest-row index where a file holds one run twice.
#ifndef VEXA_PLUGIN_COMMON_SQLITE_SCHEMA_H_
#define VEXA_PLUGIN_COMMON_SQLITE_SCHEMA_H_

#include <string>
#include <vector>

namespace vexa::datastore::common {

// The state table, its key index and the triggers on the provider table's
// inserts, updates and deletes that keep it exact for rows written by any
// client. Each statement without a terminating ";"; they expect the provider
// table and the latest-row index to exist, and create nothing twice.
std::vector<std::string> sqlite_state_schema();

// A query answering 1 when the file's state is kept on inserts by the one
// general trigger of older versions, else 0; and the statements replacing
// it with the current insert triggers, each without a terminating ";".
std::string sqlite_outdated_state_triggers_query();
std::vector<std::string> sqlite_state_trigger_renewal();

// The statement that makes a row the latest of its pair when it is newer
// than the state's, as the insert trigger does, for a key without a NULL;
// its parameters are Provider, Hostname, OptionID, Unique_timestamp and the
// row's rowid. Without a terminating ";".
std::string sqlite_state_upsert();

// A query counting the triggers of the file that are not the state's own
// (another program's, or the one skipping retried records).
std::string sqlite_other_triggers_query();

// Fills the empty state table from the provider table, in one statement.
std::string sqlite_state_fill();

// A query answering 1 when the latest-row index is the unique one, else 0.
std::string sqlite_unique_latest_index_query();

// A trigger that skips an inserted record whose run key is stored already,
// for a file whose duplicates keep the latest-row index from being unique;
// its DDL, and the statement that drops it once the index is unique.
std::string create_sqlite_skip_retried_trigger();
std::string drop_sqlite_skip_retried_trigger();

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_SQLITE_SCHEMA_H_
