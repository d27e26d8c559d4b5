// The sql command: any query over the view vexa_1 of every datastore, with
// whatever columns it answers.
#include <algorithm>
#include <stdexcept>

#include "commands/commands.h"
#include "output/record_text.h"
#include "output/streamed_reads.h"
#include "support/datastore_failures.h"
#include "support/open_datastores.h"

namespace vexa::tool {

using datastore::Row;

namespace {

std::string query;

}  // namespace

void add_sql_options(CLI::App* command) {
    command->add_option("query", query, "the query")->required()->type_name("QUERY");
}

namespace {

// The records that the datastores `unsupported`, whose plug-in does not serve
// any-column queries, answer to the query, each stamped with its datastore.
// Their failures are noted.
std::vector<Row> records_of(std::vector<std::string> const& unsupported,
                            std::string const& request) {
    std::vector<Row> rows;
    std::vector<datastore::DatastoreFailure> failures;
    datastore::select_data_with_failures(query, rows, datastore::column_index_map, &failures);
    auto const elsewhere = [&](std::string const& name) {
        return std::find(unsupported.begin(), unsupported.end(), name) == unsupported.end();
    };
    rows.erase(std::remove_if(rows.begin(), rows.end(),
                              [&](Row const& row) { return elsewhere(row.datastore_source); }),
               rows.end());
    failures.erase(
        std::remove_if(failures.begin(), failures.end(),
                       [&](auto const& failure) { return elsewhere(failure.instance_name); }),
        failures.end());
    note_failures(failures, request);
    return rows;
}

}  // namespace

int run_sql(GlobalOptions const& global) {
    if (vexa::str::stripws(query).empty()) {
        throw UsageError("the query is empty");
    }
    std::size_t failed = open_datastores(global.config_file, Access::read);
    std::string const request = "the query \"" + query + "\"";
    StreamedTable streamed = print_streamed_table(query, global);
    note_failures(streamed.failures, request);
    if (!streamed.output) {
        // Under the columns of the view when no datastore answered with its own.
        streamed.columns = view_columns();
        streamed.columns.insert(streamed.columns.begin(), "datastore");
        streamed.output = open_output(streamed.columns, global);
    }
    if (!streamed.unsupported.empty()) {
        for (auto const& record : records_of(streamed.unsupported, request)) {
            std::vector<Cell> cells{record.datastore_source};
            for (std::size_t c = 1; c < streamed.columns.size(); ++c) {
                cells.push_back(cell_of(member_text(record, streamed.columns[c])));
            }
            streamed.output->row(cells);
        }
    }
    streamed.output->finish();
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
