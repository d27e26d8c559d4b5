// The demo command: a simulated cluster's results stored, then summarised.
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "commands.h"
#include "demo_cluster.h"
#include "failed_datastores.h"
#include "open_datastores.h"
#include "progress.h"
#include "quoted_list.h"
#include "record_writer.h"
#include "summary.h"

namespace vexa::tool {

namespace {

std::int64_t newest_stored_unique_timestamp() {
    std::string const query =
        "SELECT MAX(Unique_timestamp) AS Unique_timestamp FROM " + datastore::table_view;
    std::map<std::string, int> const fields{
        {"Unique_timestamp", datastore::column_index_map.at("Unique_timestamp")}};
    std::vector<datastore::Row> rows;
    if (!datastore::select_data(query, rows, fields)) {
        datastore::SQLParameters sql;
        sql.query = query;
        sql.fields = fields;
        throw_if_a_datastore_failed(datastore::OP_SELECT, datastore::ReadParameters{{}, {}, &sql},
                                    "the query for the newest time stamp");
    }
    std::int64_t newest = 0;
    for (auto const& row : rows) {
        newest = std::max(newest, row.Unique_timestamp);
    }
    return newest;
}

std::int64_t now_us() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

int run_demo(GlobalOptions const& global, DemoOptions const& options) {
    open_datastores_or_fail(global.config_file);
    RecordWriter writer("");
    char const* user = std::getenv("USER");
    DemoCluster cluster({options.hosts, options.providers, options.runs}, now_us(),
                        newest_stored_unique_timestamp(), user != nullptr ? user : "vexa");
    Progress progress("storing demo results", cluster.size());
    datastore::InsertRequest record;
    while (cluster.next(record)) {
        if (!writer.write(record)) {
            throw std::runtime_error("no datastore stored the demo results (tried " +
                                     quoted_list(writer.targets()) + "; read-only?)");
        }
        progress.update(writer.stored());
    }
    if (global.format == Format::table) {
        std::cout << writer.report() << "\n\n";
    }
    print_summary(global, SummaryOptions{});
    return 0;
}

}  // namespace vexa::tool
