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
#include "record_writer.h"
#include "summary.h"

namespace vexa::tool {

namespace {

struct DemoOptions {
    int hosts = 8;
    int providers = static_cast<int>(demo_provider_names().size());
    int runs = 3;
    std::size_t batch = 10000;
};

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

int run_demo(GlobalOptions const& global, DemoOptions const& options) {
    std::size_t failed = open_datastores(global.config_file, Access::write);
    RecordWriter writer("", options.batch);
    char const* user = std::getenv("USER");
    DemoCluster cluster({options.hosts, options.providers, options.runs}, now_us(),
                        newest_stored_unique_timestamp(), user != nullptr ? user : "vexa");
    Progress progress("storing demo results", cluster.size());
    datastore::InsertRequest record;
    while (cluster.next(record)) {
        if (!writer.write(record)) {
            throw std::runtime_error(
                "no datastore stored the demo results (tried " + writer.described_targets() + ")" +
                (writer.last_error().empty() ? "" : ": " + writer.last_error()));
        }
        progress.update(writer.stored());
    }
    writer.finish();
    if (global.format == Format::table) {
        std::cout << writer.report() << "\n\n";
    }
    print_summary(global, SummaryOptions{});
    return failed == 0 ? 0 : 1;
}

}  // namespace

void add_demo_command(CommandLine& line) {
    auto options = std::make_shared<DemoOptions>();
    auto* command = add_command(line, "demo",
                                "store a simulated cluster's provider results, then print the "
                                "summary",
                                "vexa-datastore demo --hosts 32 --runs 5");
    command->add_option("--hosts", options->hosts, "number of hosts, node001 ...")
        ->check(CLI::Range(1, 999))
        ->capture_default_str();
    command->add_option("--providers", options->providers, "number of providers, uname first")
        ->check(CLI::Range(1, options->providers))
        ->capture_default_str();
    command->add_option("--runs", options->runs, "rounds, ten minutes apart")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    command
        ->add_option("--batch", options->batch,
                     "records committed together where the datastore can (1: one by one)")
        ->check(CLI::PositiveNumber)
        ->type_name("N")
        ->capture_default_str();
    set_action(line, command,
               [options, &global = line.global] { return run_demo(global, *options); });
}

}  // namespace vexa::tool
