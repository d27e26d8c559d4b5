#include "support/command_line.h"

#include <datastore/datastore.h>

#include "support/names.h"

namespace vexa::tool {

namespace {

// Shown by every command's --help: these may follow the command.
std::string global_options() {
    return "Global options (before or after the command):\n"
           "  --config FILE            datastore group document (default: "
           "$VEXA_DATASTORE_CONFIG,\n"
           "                           else the SQLite file " +
           datastore::DEFAULT_DATA_SOURCE +
           ")\n"
           "  --format table|json|jsonl|csv\n"
           "                           output as an aligned table, one JSON array, JSON Lines or CSV\n"
           "  --wide                   never cut tables to the terminal's width\n"
           "  --utc                    times in tables in UTC instead of local time\n"
           "  --sort time              rows of several datastores ordered by time, oldest first\n"
           "  -v, --verbose            also print the library's diagnostics\n";
}

CLI::Validator const usable_name(
    [](std::string& name) {
        if (vexa::str::stripws(name).empty()) {
            return std::string("a name must not be blank");
        }
        return quote_problem(name);
    },
    "");

}  // namespace

CLI::App* add_command(CommandLine& line, CommandHelp const& help, std::function<int()> action) {
    auto* command = line.app.add_subcommand(help.name, help.description);
    command->footer((help.details.empty() ? "" : help.details + "\n") + global_options() +
                    "Example:\n  " + help.example);
    command->callback([&run = line.run, action = std::move(action)] { run = action; });
    return command;
}

CLI::App* add_command(CommandLine& line, CommandHelp const& help,
                      int (*run)(GlobalOptions const&)) {
    return add_command(line, help, [run, &global = line.global] { return run(global); });
}

CLI::Option* add_names(CLI::App* command, std::string const& flags, std::vector<std::string>& names,
                       std::string const& description) {
    return command->add_option(flags, names, description)
        ->delimiter(',')
        ->check(usable_name)
        ->type_name("NAME");
}

void add_provider_and_host_names(CLI::App* command, std::vector<std::string>& providers,
                                 std::vector<std::string>& hosts) {
    add_names(command, "-p,--provider", providers, "only these providers");
    add_names(command, "-H,--host", hosts, "only these hosts");
}

CLI::Option* add_batch_option(CLI::App* command, std::size_t& batch) {
    return command
        ->add_option("--batch", batch,
                     "records committed together where the datastore can (1: one by one)")
        ->check(CLI::PositiveNumber)
        ->type_name("N")
        ->capture_default_str();
}

CLI::Option* add_older_than_option(CLI::App* command, std::string& older_than) {
    return command->add_option("--older-than", older_than, "the cutoff: 90s, 15m, 12h, 30d")
        ->required()
        ->type_name("DURATION");
}

CLI::Option* add_stale_option(CLI::App* command, std::string& stale) {
    return command
        ->add_option("--stale", stale, "a result older than this is stale (s, m, h, d, w)")
        ->type_name("DURATION")
        ->capture_default_str();
}

CLI::Option* add_watched_providers(CLI::App* command, std::vector<std::string>& providers) {
    return add_names(command, "-p,--provider", providers, "only these providers (default: all)");
}

}  // namespace vexa::tool
