// Registering a command on the command line. Each command's file adds its
// subcommand, its options and the action that runs it; main() lists them.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_COMMAND_LINE_H_
#define VEXA_TOOLS_VEXA_DATASTORE_COMMAND_LINE_H_

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "options.h"

namespace vexa::tool {

// What a command's registration needs from main(): the parser, the global
// options (filled by the time an action runs) and the slot for the action
// chosen by the command line.
struct CommandLine {
    CLI::App& app;
    GlobalOptions& global;
    std::function<int()>& run;
};

// A subcommand whose --help ends with `details` (when given), the global
// options that may follow it and `example`.
CLI::App* add_command(CommandLine& line, std::string const& name, std::string const& description,
                      std::string const& example, std::string const& details = "");

// Makes `action` the program's work when `command` is given. The action
// returns the exit status.
void set_action(CommandLine& line, CLI::App* command, std::function<int()> action);

// A repeatable option taking names, also separated by commas; blank names
// and names holding a single quote are usage errors.
CLI::Option* add_names(CLI::App* command, std::string const& flags, std::vector<std::string>& names,
                       std::string const& description);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_COMMAND_LINE_H_
