// Registering a command on the command line. Each command's file adds its
// subcommand, its options and the action that runs it; commands/commands.h
// lists them.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_COMMAND_LINE_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_COMMAND_LINE_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "support/options.h"

namespace vexa::tool {

// What a command's registration needs from main(): the parser, the global
// options (filled by the time an action runs) and the slot for the action
// chosen by the command line.
struct CommandLine {
    CLI::App& app;
    GlobalOptions& global;
    std::function<int()>& run;
};

// What --help says of a command: its one-line description, then `details`
// (lines ending in "\n", or empty) and a blank line, the global options that
// may follow it and `example`.
struct CommandHelp {
    std::string name;
    std::string description;
    std::string example;
    std::string details = "";
};

// Adds the subcommand of `help`; when the command line chooses it, `action`
// becomes the program's work, returning the exit status.
CLI::App* add_command(CommandLine& line, CommandHelp const& help, std::function<int()> action);

// Adds a command without options of its own: its work is run(global options).
CLI::App* add_command(CommandLine& line, CommandHelp const& help,
                      int (*run)(GlobalOptions const&));

// Adds a command whose work is run(global options, options), where options
// are filled by the flags the caller adds to the returned subcommand.
template <class Options>
std::pair<CLI::App*, std::shared_ptr<Options>> add_command(
    CommandLine& line, CommandHelp const& help, int (*run)(GlobalOptions const&, Options const&)) {
    auto options = std::make_shared<Options>();
    auto* command = add_command(
        line, help, [options, run, &global = line.global] { return run(global, *options); });
    return {command, options};
}

// A repeatable option taking names, also separated by commas; blank names
// and names holding a single quote are usage errors.
CLI::Option* add_names(CLI::App* command, std::string const& flags, std::vector<std::string>& names,
                       std::string const& description);

// The options that several commands share, each with its one help text.
// -p/--provider and -H/--host: only these providers and hosts.
void add_provider_and_host_names(CLI::App* command, std::vector<std::string>& providers,
                                 std::vector<std::string>& hosts);
// --batch N: records committed together (demo, insert).
CLI::Option* add_batch_option(CLI::App* command, std::size_t& batch);
// --older-than DURATION, required: the cutoff of prune and stale.
CLI::Option* add_older_than_option(CLI::App* command, std::string& older_than);
// --stale DURATION: when a result turns stale on the status page and in the check.
CLI::Option* add_stale_option(CLI::App* command, std::string& stale);
// -p/--provider of the commands that watch a cluster, all when none is named.
CLI::Option* add_watched_providers(CLI::App* command, std::vector<std::string>& providers);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_COMMAND_LINE_H_
