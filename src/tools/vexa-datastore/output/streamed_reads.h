// Reads printed as they arrive: the rows of every datastore go to the output
// block by block (datastore/operations.h, stream_rows and stream_table), so
// an export of any size takes the memory of one block. A table takes its
// column widths from its first 1,000 rows (see text_table_output), so it is
// bounded too.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_STREAMED_READS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_STREAMED_READS_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <datastore/datastore.h>

#include "output/output.h"
#include "support/options.h"

namespace vexa::tool {

// Prints the records `query` reads from every datastore, as print_rows
// would (in the order they come), at most `limit` of them (0: all). The
// output opens with the first block, or at the end when no datastore failed,
// so a read where every datastore failed prints nothing. Returns the
// datastores that failed; the rows they gave before stay printed.
std::vector<datastore::DatastoreFailure> print_streamed_records(std::string const& query,
                                                                std::size_t limit,
                                                                GlobalOptions const& global);

// What print_streamed_table did: the output, opened with the first block's
// columns ("datastore" and those of the first datastore that answered; null
// when no block came) and not finished yet, whether any datastore answered,
// and those that did not stream nor answer any-column queries (512) or failed.
struct StreamedTable {
    std::unique_ptr<RowOutput> output;
    std::vector<std::string> columns;
    bool answered = false;
    std::vector<std::string> unsupported;
    std::vector<datastore::DatastoreFailure> failures;
};

// Prints the answer of `query` with any columns, a cell that reads as a
// number as a number and NULL as null.
StreamedTable print_streamed_table(std::string const& query, GlobalOptions const& global);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_STREAMED_READS_H_
