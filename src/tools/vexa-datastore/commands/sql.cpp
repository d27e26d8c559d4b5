// The sql command: any query over the view vexa_1 of every datastore, with
// whatever columns it answers.
#include <stdexcept>

#include "commands/commands.h"
#include "output/record_text.h"
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

// A cell of the query's answer: its text, as a number when it reads as one
// (so JSON keeps counts and stamps numeric), null for NULL.
Cell cell_of(std::optional<std::string> const& text) {
    if (!text) {
        return nullptr;
    }
    return number_or_text(*text);
}

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
    datastore::Table table;
    std::vector<std::string> unsupported;
    bool answered = datastore::select_table(query, table, &unsupported);
    if (!answered && unsupported.empty()) {
        throw_query_failure(query);
    }
    if (!answered) {
        table.columns = view_columns();
        table.columns.insert(table.columns.begin(), "datastore");
    }
    auto output = open_output(table.columns, global);
    for (auto const& row : table.rows) {
        std::vector<Cell> cells;
        for (auto const& text : row) {
            cells.push_back(cell_of(text));
        }
        output->row(cells);
    }
    for (auto const& name : unsupported) {
        for (auto const& record : records_of(name, query)) {
            std::vector<Cell> cells{name};
            for (std::size_t c = 1; c < table.columns.size(); ++c) {
                cells.push_back(cell_of(member_text(record, table.columns[c])));
            }
            output->row(cells);
        }
    }
    output->finish();
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
