// vexa-datastore: shows and fills the datastores of the vexa cluster health
// checker from the command line. This file wires the command line to the
// commands and turns failures into one line and an exit status.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>

#include <datastore/datastore.h>
#include <CLI/CLI.hpp>

#include "commands/commands.h"
#include "monitoring/check_status.h"
#include "output/output.h"
#include "support/closest_name.h"
#include "support/datastore_failures.h"
#include "support/time_limit.h"

namespace {

using namespace vexa::tool;

constexpr int kUsageStatus = 2;

void report(std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::cerr << "vexa-datastore: " << message << '\n';
}

Format format_named(std::string const& name) {
    return name == "json"    ? Format::json
           : name == "jsonl" ? Format::jsonl
           : name == "csv"   ? Format::csv
                             : Format::table;
}

// A command line the parser refuses: one line on standard error and exit
// status 2, except for the check command, which a monitoring system runs and
// reads by the monitoring convention: its status line, UNKNOWN (3).
int usage_failure(CLI::App const& app, std::string const& message) {
    if (app.got_subcommand("check")) {
        std::cout << unknown_line(message) << std::endl;
        return check_unknown;
    }
    report(message);
    return kUsageStatus;
}

// A word where a command was expected, with the command it was probably
// meant to be.
std::string unknown_command(CLI::App const& app, std::string const& word) {
    std::vector<std::string> names;
    for (auto const* command : app.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    std::string suggestion = did_you_mean(word, names);
    return "unknown command '" + word + "'" + (suggestion.empty() ? " (see --help)" : suggestion);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Shows and fills the datastores of the vexa cluster health checker.",
                 "vexa-datastore"};
    app.footer(
        "Without --config the datastores are those of the group document named by\n"
        "VEXA_DATASTORE_CONFIG, else the SQLite file " +
        vexa::datastore::DEFAULT_DATA_SOURCE +
        ".\n"
        "Global options may also follow the command. Every command has --help.\n"
        "Exit status: 0 done, 1 failed (or insert skipped lines, or a datastore failed\n"
        "or did not open: the others still answer), 2 usage error.\n"
        "Example:\n  vexa-datastore demo && vexa-datastore latest -p disk_usage");
    app.fallthrough();  // global options may follow the command
    app.set_version_flag("--version", "vexa-datastore " VEXA_VERSION);

    GlobalOptions global;
    std::string format_name = "table";
    std::string sort_key;
    app.add_option("--config", global.config_file,
                   "datastore group document, as in etc/datastore/datastores.xml")
        ->type_name("FILE");
    app.add_option("--format", format_name,
                   "output as an aligned table, one JSON array, JSON Lines or CSV")
        ->check(CLI::IsMember({"table", "json", "jsonl", "csv"}))
        ->capture_default_str();
    app.add_flag("--wide", global.wide, "never cut tables to the terminal's width");
    app.add_flag("--utc", global.utc, "times in tables in UTC instead of local time");
    app.add_option("--sort", sort_key, "rows of several datastores ordered by time, oldest first")
        ->check(CLI::IsMember({"time"}))
        ->type_name("time");
    app.add_flag("-v,--verbose", global.verbosity, "also print the library's diagnostics");
    app.add_option("--timeout", global.timeout,
                   "a datastore call that takes longer fails (default: no limit)")
        ->check(CLI::Range(1u, 86400u))
        ->type_name("SECONDS");

    Run* run = nullptr;
    add_commands(app, run);

    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& e) {  // --help, --version: output like any other
        int const status = app.exit(e);
        try {
            std::cout.flush();
            check_written(std::cout);
        } catch (std::runtime_error const& failure) {
            report(failure.what());
            return 1;
        }
        return status;
    } catch (CLI::ExtrasError const& e) {
        auto extras = app.remaining();
        bool misnamed = !run && !extras.empty() && extras.front().rfind('-', 0) != 0;
        return usage_failure(app, misnamed ? unknown_command(app, extras.front())
                                           : std::string(e.what()) + " (see --help)");
    } catch (CLI::ParseError const& e) {
        return usage_failure(app, std::string(e.what()) + " (see --help)");
    }
    if (!run) {
        report("a command is required (see --help)");
        return kUsageStatus;
    }
    global.format = format_named(format_name);
    global.sort_by_time = sort_key == "time";
    if (char const* config = std::getenv("VEXA_DATASTORE_CONFIG");
        global.config_file.empty() && config != nullptr) {
        global.config_file = config;
    }
    vexa::log::LOG_LEVEL = global.verbosity > 0 ? 7 : 3;
    set_datastore_time_limit(std::chrono::seconds(global.timeout));

    int status = 1;
    try {
        status = run(global);
        std::cout.flush();
        check_written(std::cout);
    } catch (UsageError const& e) {
        report(e.what());
        status = kUsageStatus;
    } catch (NoDatastoreAnswered const&) {
        status = 1;  // the failures say it all, below
    } catch (std::exception const& e) {
        report(e.what());
        status = 1;
    }
    for (auto const& failure : take_failures()) {
        report(failure.text());
        status = status == 0 ? 1 : status;
    }
    // Closes the datastores (an SQLite file is checkpointed) before the
    // library's static data goes.
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    return status;
}
