#include "schema.h"

#include <datastore/vocabulary.h>

#include "sqlite_calls.h"
#include "statements.h"

namespace vexa::datastore::sqlite_plugin {

void create_schema(::sqlite3* db) {
    execute(db, default_create_table_query);
    execute(db, default_create_baseline_query);
    execute(db, default_create_view_query);
    // The newest stamp comes first in each (Provider, Hostname, OptionID)
    // group, so the latest-row query takes the other columns from the group's
    // first row and visits the table once per group rather than once per row.
    execute(db, common::create_latest_row_index() + ";");
}

}  // namespace vexa::datastore::sqlite_plugin
