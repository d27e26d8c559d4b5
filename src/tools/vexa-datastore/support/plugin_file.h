// A plug-in file judged by looking at it, never by loading it.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_PLUGIN_FILE_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_PLUGIN_FILE_H_

#include <string>

namespace vexa::tool {

struct PluginFile {
    // What the file is: "ELF shared object, exports create, destroy" and
    // ", vexa_plugin_interface_version" when it says its interface version.
    std::string found;
    // Why loading it would fail: the system's reason for a file that is
    // missing or unreadable, "not a regular file", the ELF reader's fault,
    // or the entry point it lacks; empty when it would load.
    std::string fault;
};

// Looks at the plug-in file `path`: present, a regular file, readable, a
// shared object of this machine that exports "create" and "destroy".
PluginFile inspect_plugin_file(std::string const& path);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_PLUGIN_FILE_H_
