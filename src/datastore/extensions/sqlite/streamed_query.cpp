// OP_STREAM_QUERY as the SQLite plug-in serves it: the statement is stepped
// row by row and every block handed over as soon as it is full.
#include <optional>

#include <datastore/vocabulary.h>

#include "planner_statistics.h"
#include "row_reader.h"
#include "sqlite_extension.h"
#include "streamed_blocks.h"
#include "table_query.h"
#include "time_limit.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// Steps the statement of `request` on `db` and hands its rows over in
// `blocks`, until they end or the caller has enough.
void read_in_blocks(::sqlite3* db, StreamRequest const& request, common::StreamedBlocks& blocks) {
    Statement const statement = prepare_table_query(db, request.query);
    if (statement == nullptr) {
        blocks.finish();  // blanks or comments: no columns, no rows
        return;
    }
    sqlite3_stmt* const s = statement.get();
    // The column names are current only after the first step.
    int rc = sqlite3_step(s);
    std::optional<RowReader> records;
    if (blocks.wants_records()) {
        records.emplace(s, column_index_map);
    } else {
        blocks.set_columns(result_columns(s));
    }
    for (; rc == SQLITE_ROW; rc = sqlite3_step(s)) {
        if (records) {
            records->read(blocks.next_row());
        } else {
            read_cells(s, blocks.next_cells());
        }
        if (!blocks.row_read()) {
            return;
        }
    }
    if (rc != SQLITE_DONE) {
        fail(db);
    }
    blocks.finish();
}

}  // namespace

int SqliteExtension::stream_query_operation(StreamRequest const& request, StreamResult& result) {
    common::StreamedBlocks blocks(request, result);
    std::lock_guard<FairMutex> const lock(mutex_);
    if (db_ == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    refresh_statistics_after_inserts();
    // The limit covers the whole read, the time the caller takes over each
    // block included.
    within_time_limit(db_.get(), time_limit(), [&] { read_in_blocks(db_.get(), request, blocks); });
    return OPERATION_SUCCESSFULL;
}

}  // namespace vexa::datastore::sqlite_plugin
