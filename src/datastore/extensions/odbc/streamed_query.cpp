// OP_STREAM_QUERY as the ODBC plug-in serves it: rows are fetched one by one
// and every block handed over as soon as it is full. The driver holds only
// its fetch size of rows (psqlODBC's cursor, SQLite ODBC's stepping, both
// set in the connection string), so memory stays bounded end to end.
#include <datastore/vocabulary.h>

#include "odbc_extension.h"
#include "row_reader.h"
#include "streamed_blocks.h"
#include "table_query.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// Hands the rows of `request` over in `blocks`. The caller keeps the
// connection from writing, as for OP_QUERY_TABLE.
void read_in_blocks(Connection const& link, StreamRequest const& request,
                    common::StreamedBlocks& blocks) {
    std::string query = request.query;
    Statement const statement = new_statement(link.get());
    SQLHSTMT const s = statement.get();
    check(SQLExecDirect(s, reinterpret_cast<SQLCHAR*>(query.data()),
                        static_cast<SQLINTEGER>(query.size())),
          SQL_HANDLE_STMT, s, "SQLExecDirect");
    if (blocks.wants_records()) {
        RowReader reader(s, column_index_map, fetching_of(link));
        for (Row row; reader.read(row); row = Row()) {
            blocks.next_row() = std::move(row);
            if (!blocks.row_read()) {
                return;
            }
        }
    } else {
        blocks.set_columns(result_columns(s));
        auto const columns = static_cast<SQLSMALLINT>(blocks.columns().size());
        for (SQLRETURN rc; (rc = SQLFetch(s)) != SQL_NO_DATA;) {
            check(rc, SQL_HANDLE_STMT, s, "SQLFetch");
            read_cells(s, columns, blocks.next_cells());
            if (!blocks.row_read()) {
                return;
            }
        }
    }
    blocks.finish();
}

}  // namespace

int OdbcExtension::stream_query_operation(StreamRequest const& request, StreamResult& result) {
    common::StreamedBlocks blocks(request, result);
    std::lock_guard<std::mutex> const lock(mutex_);
    recovering([&] {
        ReadOnlyRead const read_only = read_only_read();
        read_in_blocks(connection(), request, blocks);
    });
    return OPERATION_SUCCESSFULL;
}

}  // namespace vexa::datastore::odbc_plugin
