// Adding the options that several commands share to a command's subcommand,
// each with its one help text.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_COMMAND_LINE_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_COMMAND_LINE_H_

#include <cstddef>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace vexa::tool {

// A repeatable option taking names, also separated by commas; blank names
// and names holding a single quote are usage errors.
CLI::Option* add_names(CLI::App* command, std::string const& flags, std::vector<std::string>& names,
                       std::string const& description);

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
