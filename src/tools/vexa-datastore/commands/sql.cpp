// The sql command: any query over the view vexa_1 of every datastore, with
// whatever columns it answers.
#include <algorithm>
#include <stdexcept>

#include "commands/commands.h"
#include "output/record_text.h"
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

// A cell of the query's answer: its text, as a number when it reads as one
// (so JSON keeps counts and stamps numeric), null for NULL.
Cell cell_of(std::optional<std::string> const& text) {
    if (!text) {
        return nullptr;
    }
    return number_or_text(*text);
}

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
    datastore::Table table;
    std::vector<std::string> unsupported;
    std::vector<datastore::DatastoreFailure> failures;
    bool answered = datastore::select_table(query, table, &unsupported, &failures);
    note_failures(failures, request);
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
    if (!unsupported.empty()) {
        for (auto const& record : records_of(unsupported, request)) {
            std::vector<Cell> cells{record.datastore_source};
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
