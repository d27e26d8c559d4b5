// The config command: the datastore configuration looked at without opening
// a datastore. Its one subcommand so far is check.
#include <iostream>

#include "commands/commands.h"
#include "support/configuration_entries.h"
#include "support/name_of.h"
#include "support/open_datastores.h"
#include "support/plugin_file.h"
#include "support/source_keys.h"

namespace vexa::tool {

void add_config_options(CLI::App* command) {
    command->add_subcommand("check",
                            "read the group document and every instance file, and look at every "
                            "plug-in file, opening no datastore");
    command->require_subcommand(1);
}

namespace {

// "FILE:LINE: NAME: REASON", the place and name left out where there is none.
void print_fault(std::string const& at, std::string const& label, std::string const& reason) {
    std::cout << (at.empty() ? "" : at + ": ") << (label.empty() ? "" : label + ": ") << reason
              << '\n';
}

// One line for a sound entry, or one line per fault; true for a sound one.
bool check_entry(ConfigurationEntry const& entry) {
    if (!entry.fault.empty()) {
        print_fault(entry.fault_at, entry.label, entry.fault);
        return false;
    }
    datastore::DataStoreConfig const& config = entry.config;
    std::string const plugin_path = library_path(config);
    PluginFile const plugin = inspect_plugin_file(plugin_path);
    std::string const source_fault = source_parameters_fault(config);
    if (!plugin.fault.empty()) {
        print_fault(entry.entry_at, entry.label, "plug-in " + plugin_path + ": " + plugin.fault);
    }
    if (!source_fault.empty()) {
        print_fault(entry.file_at, entry.label, source_fault);
    }
    if (!plugin.fault.empty() || !source_fault.empty()) {
        return false;
    }
    std::cout << entry.label << ": " << name_of(datastore::database_type_map, config.type)
              << ", plug-in " << plugin_path << " (" << plugin.found << "), "
              << config.source_parameters << ": ok\n";
    return true;
}

}  // namespace

// check is the only subcommand, and a required one.
int run_config(GlobalOptions const& global) {
    bool sound = true;
    for (ConfigurationEntry const& entry : read_configuration_entries(global.config_file)) {
        sound = check_entry(entry) && sound;
    }
    return sound ? 0 : 1;
}

}  // namespace vexa::tool
