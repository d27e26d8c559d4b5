// The demo command: a simulated cluster's results stored, then summarised.
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "commands/commands.h"
#include "output/progress.h"
#include "support/demo_cluster.h"
#include "support/open_datastores.h"
#include "support/provider_summary.h"
#include "support/record_writer.h"
#include "support/stored_data.h"
#include "support/time_arguments.h"

namespace vexa::tool {

namespace {

struct DemoOptions {
    int hosts = 8;
    int providers = static_cast<int>(demo_provider_names().size());
    int runs = 3;
    std::size_t batch = 10000;
};

DemoOptions options;

}  // namespace

void add_demo_options(CLI::App* command) {
    command->add_option("--hosts", options.hosts, "number of hosts, node001 ...")
        ->check(CLI::Range(1, 999))
        ->capture_default_str();
    command->add_option("--providers", options.providers, "number of providers, uname first")
        ->check(CLI::Range(1, options.providers))
        ->capture_default_str();
    command->add_option("--runs", options.runs, "rounds, ten minutes apart")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    add_batch_option(command, options.batch);
}

namespace {

std::int64_t newest_stored_unique_timestamp() {
    std::int64_t newest = 0;
    for (auto const& row : selected_rows(
             "SELECT MAX(Unique_timestamp) AS Unique_timestamp FROM " + datastore::table_view,
             {"Unique_timestamp"}, "the query for the newest time stamp")) {
        newest = std::max(newest, row.Unique_timestamp);
    }
    return newest;
}

}  // namespace

int run_demo(GlobalOptions const& global) {
    std::size_t failed = open_datastores(global.config_file, Access::write);
    RecordWriter writer("", options.batch);
    char const* user = std::getenv("USER");
    DemoCluster cluster({options.hosts, options.providers, options.runs}, now_microseconds(),
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

}  // namespace vexa::tool
