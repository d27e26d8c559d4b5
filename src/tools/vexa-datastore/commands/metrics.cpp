// The metrics command: the latest results for a Prometheus-compatible agent.
#include <iostream>
#include <stdexcept>

#include "commands/commands.h"
#include "monitoring/atomic_file.h"
#include "monitoring/metrics_text.h"
#include "monitoring/monitored_grid.h"
#include "output/output.h"
#include "support/datastore_failures.h"
#include "support/open_datastores.h"
#include "support/time_arguments.h"

namespace vexa::tool {

namespace {

struct MetricsOptions {
    std::string output_file;  // empty: standard output
    std::vector<std::string> providers;
};

MetricsOptions options;

}  // namespace

void add_metrics_options(CLI::App* command) {
    command
        ->add_option("--output", options.output_file,
                     "write this file (replaced atomically) instead of standard output")
        ->type_name("FILE");
    add_watched_providers(command, options.providers);
}

int run_metrics(GlobalOptions const& global) {
    std::vector<DatastoreUp> datastores;
    std::string first_error;
    for (auto const& [config, error] :
         open_configured_datastores(global.config_file, Access::read)) {
        datastores.push_back({config.instance_name, error.empty()});
        if (first_error.empty() && !error.empty()) {
            first_error = "datastore \"" + config.instance_name + "\" did not open: " + error;
        }
    }
    // Nothing is stale here: a scraper compares the time stamps itself. When
    // no datastore answers, the metrics still say which are down.
    HealthGrid grid;
    try {
        grid = read_health_grid(options.providers, now_seconds(), 0);
    } catch (NoDatastoreAnswered const&) {
    }
    for (auto& datastore : datastores) {
        datastore.up = datastore.up && !has_failed(datastore.name);
    }
    auto write = [&](std::ostream& out) { write_metrics(grid, datastores, out); };
    if (options.output_file.empty()) {
        write(std::cout);
        check_written(std::cout);
    } else {
        write_atomically(options.output_file, write);
    }
    // The metrics of the datastores that opened are written all the same,
    // vexa_datastore_up telling which did not.
    if (!first_error.empty()) {
        throw std::runtime_error(first_error);
    }
    return 0;
}

}  // namespace vexa::tool
