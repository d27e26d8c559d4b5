// The commands of vexa-datastore. commands.cpp lists them with their help;
// each has one file in this folder, named as the command, that holds its
// options and its work.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_COMMANDS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_COMMANDS_H_

#include <CLI/CLI.hpp>

#include "support/command_line.h"
#include "support/options.h"

namespace vexa::tool {

// A command's work, run once the command line is parsed: it returns the
// process's exit status and throws std::exception (UsageError for exit
// status 2) for a failure that the user caused, which main() reports in one
// line.
using Run = int(GlobalOptions const& global);

// Adds every command to `app`, in the order --help lists them; the one the
// command line chooses is stored in `chosen` while `app` parses.
void add_commands(CLI::App& app, Run*& chosen);

// Adds a command's own options to its subcommand. The command line is parsed
// once per process, so they fill an object of the command's file that its
// work reads.
using AddOptions = void(CLI::App* command);

AddOptions add_demo_options, add_summary_options, add_latest_options, add_host_options,
    add_select_options, add_stale_options, add_sql_options, add_insert_options, add_prune_options,
    add_load_sql_options, add_report_options, add_metrics_options, add_check_options,
    add_config_options;

Run run_demo, run_summary, run_latest, run_host, run_select, run_hosts, run_providers, run_stale,
    run_sql, run_insert, run_prune, run_datastores, run_load_sql, run_report, run_metrics,
    run_check, run_config;

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_COMMANDS_H_
