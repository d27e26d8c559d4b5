#include "support/command_line.h"

#include <util/str.h>

#include "support/names.h"

namespace vexa::tool {

namespace {

CLI::Validator const usable_name(
    [](std::string& name) {
        if (vexa::str::stripws(name).empty()) {
            return std::string("a name must not be blank");
        }
        return quote_problem(name);
    },
    "");

}  // namespace

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
