// The summary command: per provider, from the latest result of each host,
// how many hosts passed and failed.
#include "commands/commands.h"
#include "support/open_datastores.h"
#include "support/provider_summary.h"
#include "support/stored_data.h"

namespace vexa::tool {

namespace {

SummaryOptions options;

}  // namespace

void add_summary_options(CLI::App* command) {
    add_provider_and_host_names(command, options.providers, options.hosts);
    command->add_flag("--failed", options.only_failed,
                      "only providers with failures, with every failed host");
}

int run_summary(GlobalOptions const& global) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    require_stored(options.providers);
    print_summary(global, options);
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
