#include "output/streamed_reads.h"

#include "output/record_text.h"
#include "output/rows.h"

namespace vexa::tool {

namespace {

// Rows a datastore hands over at a time: small enough to stay out of sight
// next to the driver's own buffers, large enough to keep calls rare.
constexpr std::size_t kBlockRows = 1000;

}  // namespace

std::vector<datastore::DatastoreFailure> print_streamed_records(std::string const& query,
                                                                std::size_t limit,
                                                                GlobalOptions const& global) {
    std::unique_ptr<RowOutput> output;
    std::size_t printed = 0;
    std::vector<datastore::DatastoreFailure> failures;
    datastore::stream_rows(
        query, kBlockRows,
        [&](std::vector<datastore::Row> const& block) {
            if (!output) {
                output = open_output(row_columns(global), global);
            }
            for (auto const& row : block) {
                if (limit > 0 && printed == limit) {
                    return false;
                }
                output->row(row_cells(row, global));
                ++printed;
            }
            return limit == 0 || printed < limit;
        },
        &failures);
    if (!output && !failures.empty()) {
        return failures;
    }
    if (!output) {
        output = open_output(row_columns(global), global);
    }
    output->finish();
    return failures;
}

StreamedTable print_streamed_table(std::string const& query, GlobalOptions const& global) {
    StreamedTable streamed;
    std::vector<Cell> cells;
    streamed.answered = datastore::stream_table(
        query, kBlockRows,
        [&](datastore::Table const& block) {
            if (!streamed.output) {
                streamed.columns = block.columns;
                streamed.output = open_output(streamed.columns, global);
            }
            for (auto const& row : block.rows) {
                cells.clear();
                for (auto const& text : row) {
                    cells.push_back(cell_of(text));
                }
                streamed.output->row(cells);
            }
            return true;
        },
        &streamed.failures, &streamed.unsupported);
    return streamed;
}

}  // namespace vexa::tool
