// The check command: a monitoring plug-in. Whatever goes wrong, it answers
// with one status line and an exit status of the monitoring convention.
#include <iostream>

#include "commands/commands.h"
#include "monitoring/check_status.h"
#include "monitoring/check_watchdog.h"
#include "monitoring/monitored_grid.h"
#include "support/datastore_failures.h"
#include "support/open_datastores.h"
#include "support/time_arguments.h"
#include "support/time_limit.h"

namespace vexa::tool {

namespace {

// Values are taken as text and checked here, so that a mistake in a
// monitoring system's command line is UNKNOWN (3), not CRITICAL (2).
struct CheckOptions {
    std::vector<std::string> providers;
    std::string stale = "15m";
    std::string warn = "0";
    std::string crit = "0";
    unsigned timeout = 30;  // seconds
};

CheckOptions options;

}  // namespace

void add_check_options(CLI::App* command) {
    add_watched_providers(command, options.providers);
    add_stale_option(command, options.stale);
    command->add_option("--warn", options.warn, "WARNING when more hosts than N failed")
        ->type_name("N")
        ->capture_default_str();
    command->add_option("--crit", options.crit, "CRITICAL when more hosts than N failed")
        ->type_name("N")
        ->capture_default_str();
    command
        ->add_option("-t,--timeout", options.timeout,
                     "UNKNOWN when the datastores have not answered by then")
        ->check(CLI::Range(1u, 86400u))
        ->type_name("SECONDS")
        ->capture_default_str();
}

namespace {

int host_count(std::string const& text, std::string const& option) {
    bool digits = !text.empty() && text.size() <= 9 &&
                  text.find_first_not_of("0123456789") == std::string::npos;
    if (!digits) {
        throw UsageError(option + ": '" + text + "' is not a number of hosts");
    }
    return std::stoi(text);
}

CheckVerdict verdict(GlobalOptions const& global) {
    std::int64_t const stale_after = duration_seconds(options.stale, "--stale");
    CheckThresholds const thresholds{host_count(options.warn, "--warn"),
                                     host_count(options.crit, "--crit")};
    for (auto const& [config, error] :
         open_configured_datastores(global.config_file, Access::read)) {
        if (!error.empty()) {
            return {check_unknown,
                    {unknown_line("datastore \"" + config.instance_name +
                                  "\" did not open: " + error)}};
        }
    }
    set_waiting_for("reading the latest results");
    auto const grid = read_health_grid(options.providers, now_seconds(), stale_after);
    // Hosts of a datastore that did not answer are unknown, not passed.
    std::string failed;
    for (auto const& failure : take_failures()) {
        failed += (failed.empty() ? "" : "; ") + failure.text();
    }
    if (!failed.empty()) {
        return {check_unknown, {unknown_line(failed)}};
    }
    return check_health(grid, thresholds);
}

}  // namespace

int run_check(GlobalOptions const& global) {
    std::chrono::seconds const limit(options.timeout);
    if (datastore_time_limit().count() == 0 || datastore_time_limit() > limit) {
        set_datastore_time_limit(limit);  // a plug-in that keeps to it names the cause
    }
    CheckVerdict result;
    try {
        CheckWatchdog const watchdog(limit);
        result = verdict(global);
    } catch (std::exception const& e) {
        result = {check_unknown, {unknown_line(e.what())}};
    }
    take_failures();  // the status line names them; nothing more goes to standard error
    for (auto const& line : result.lines) {
        std::cout << line << '\n';
    }
    std::cout.flush();
    return std::cout ? result.status : check_unknown;
}

}  // namespace vexa::tool
