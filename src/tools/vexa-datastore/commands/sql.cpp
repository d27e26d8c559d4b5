// The sql command: any query over the view vexa_1 of every datastore, with
// whatever columns it answers.
#include <stdexcept>

#include "commands/commands.h"
#include "output/record_text.h"
#include "output/streamed_reads.h"
#include "support/failed_datastores.h"
#include "support/log_capture.h"
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

// A datastore whose plug-in does not serve any-column queries answers with
// records: each is shown under the columns of the others' answers, or of the
// view when no other answered.
std::vector<Row> records_of(std::string const& name, std::string const& query) {
    datastore::SQLParameters sql;
    sql.query = query;
    datastore::ReadParameters parameters{{}, {}, &sql};
    std::vector<Row> rows;
    if (datastore::execute_ioctl({name}, datastore::OP_SELECT, &parameters, &rows, nullptr,
                                 nullptr) == 0) {
        throw_if_a_datastore_failed(datastore::OP_SELECT, parameters,
                                    "the query \"" + query + "\"");
    }
    return rows;
}

// No datastore answered: the first that fails says why, in its plug-in's
// words (logged, so caught from the log).
void throw_query_failure(std::string const& query) {
    for (auto const& [config, handle] : datastore::DataStoreParseUtility::get_datastore_vector()) {
        if (!config.source_types.test(datastore::data)) {
            continue;
        }
        datastore::Table table;
        LogCapture log;
        if (datastore::execute_ioctl({config.instance_name}, datastore::OP_QUERY_TABLE, &query,
                                     &table, nullptr, nullptr) == 0) {
            std::string reason = log.last_line();
            std::string const prefix = "Datastore \"" + config.instance_name + "\": ";
            if (reason.rfind(prefix, 0) == 0) {
                reason.erase(0, prefix.size());
            }
            throw std::runtime_error("datastore \"" + config.instance_name +
                                     "\" failed to run the query \"" + query + "\"" +
                                     (reason.empty() ? "" : ": " + reason));
        }
    }
}

}  // namespace

int run_sql(GlobalOptions const& global) {
    if (vexa::str::stripws(query).empty()) {
        throw UsageError("the query is empty");
    }
    std::size_t failed = open_datastores(global.config_file, Access::read);
    StreamedTable streamed = print_streamed_table(query, global);
    if (!streamed.answered && streamed.unsupported.empty() && !streamed.output) {
        throw_stream_failures(streamed.failures, "the query \"" + query + "\"");
        throw_query_failure(query);
    }
    if (!streamed.output) {
        streamed.columns = view_columns();
        streamed.columns.insert(streamed.columns.begin(), "datastore");
        streamed.output = open_output(streamed.columns, global);
    }
    for (auto const& name : streamed.unsupported) {
        for (auto const& record : records_of(name, query)) {
            std::vector<Cell> cells{name};
            for (std::size_t c = 1; c < streamed.columns.size(); ++c) {
                cells.push_back(cell_of(member_text(record, streamed.columns[c])));
            }
            streamed.output->row(cells);
        }
    }
    streamed.output->finish();
    throw_stream_failures(streamed.failures, "the query \"" + query + "\"");
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
