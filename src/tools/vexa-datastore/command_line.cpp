#include "command_line.h"

#include <datastore/datastore.h>

#include "safe_names.h"

namespace vexa::tool {

namespace {

// Shown by every command's --help: these may follow the command.
constexpr char const* kGlobalOptions =
    "Global options (before or after the command):\n"
    "  --config FILE            datastore group document (default: $VEXA_DATASTORE_CONFIG,\n"
    "                           else the SQLite file $HOME/.vexa/2021.4.0/vexa.db)\n"
    "  --format table|json|jsonl|csv\n"
    "                           output as an aligned table, one JSON array, JSON Lines or CSV\n"
    "  --wide                   never cut tables to the terminal's width\n"
    "  --utc                    times in tables in UTC instead of local time\n"
    "  --sort time              rows of several datastores ordered by time, oldest first\n"
    "  -v, --verbose            also print the library's diagnostics\n";

CLI::Validator const usable_name(
    [](std::string& name) {
        if (vexa::str::stripws(name).empty()) {
            return std::string("a name must not be blank");
        }
        return quote_problem(name);
    },
    "");

}  // namespace

CLI::App* add_command(CommandLine& line, std::string const& name, std::string const& description,
                      std::string const& example, std::string const& details) {
    auto* command = line.app.add_subcommand(name, description);
    command->footer((details.empty() ? "" : details + "\n") + kGlobalOptions + "Example:\n  " +
                    example);
    return command;
}

void set_action(CommandLine& line, CLI::App* command, std::function<int()> action) {
    command->callback([&run = line.run, action = std::move(action)] { run = action; });
}

CLI::Option* add_names(CLI::App* command, std::string const& flags, std::vector<std::string>& names,
                       std::string const& description) {
    return command->add_option(flags, names, description)
        ->delimiter(',')
        ->check(usable_name)
        ->type_name("NAME");
}

}  // namespace vexa::tool
