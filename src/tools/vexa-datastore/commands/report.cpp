// The report command: the status page of the cluster as one HTML file.

#include "commands/commands.h"
#include "monitoring/atomic_file.h"
#include "monitoring/monitored_grid.h"
#include "monitoring/report_html.h"
#include "support/open_datastores.h"
#include "support/time_arguments.h"

namespace vexa::tool {

namespace {

struct ReportOptions {
    std::string html_file;
    std::vector<std::string> providers;
    std::string stale = "15m";
};

ReportOptions options;

}  // namespace

void add_report_options(CLI::App* command) {
    command->add_option("--html", options.html_file, "the page to write (replaced atomically)")
        ->required()
        ->type_name("FILE");
    add_watched_providers(command, options.providers);
    add_stale_option(command, options.stale);
}

int run_report(GlobalOptions const& global) {
    std::int64_t const stale_after = duration_seconds(options.stale, "--stale");
    std::size_t const closed = open_datastores(global.config_file, Access::read);
    std::int64_t const now = now_seconds();
    auto const grid = read_health_grid(options.providers, now, stale_after);
    write_atomically(options.html_file,
                     [&](std::ostream& out) { write_html_report(grid, now, stale_after, out); });
    return closed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
