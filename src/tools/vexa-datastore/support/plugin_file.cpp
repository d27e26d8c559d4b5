#include "support/plugin_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <datastore/datastore.h>

#include "support/elf_exports.h"

namespace vexa::tool {

namespace {

// The whole file, or the system's reason in `fault`.
std::string read_file(std::string const& path, std::string& fault) {
    // Non-blocking, so a pipe in the plug-in's place cannot hang the check.
    int const fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        fault = std::strerror(errno);
        return "";
    }
    std::string bytes;
    char buffer[65536];
    ssize_t got = 0;
    while ((got = read(fd, buffer, sizeof buffer)) > 0) {
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    if (got < 0) {
        fault = std::strerror(errno);
    }
    close(fd);
    return bytes;
}

bool has(std::vector<std::string> const& names, std::string const& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

PluginFile inspect_plugin_file(std::string const& path) {
    PluginFile plugin;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        plugin.fault = std::strerror(errno);
        return plugin;
    }
    if (!S_ISREG(status.st_mode)) {
        plugin.fault = "not a regular file";
        return plugin;
    }
    std::string const bytes = read_file(path, plugin.fault);
    if (!plugin.fault.empty()) {
        return plugin;
    }
    ElfExports const exports = read_elf_exports(bytes);
    if (!exports.fault.empty()) {
        plugin.fault = exports.fault;
        return plugin;
    }
    std::vector<std::string> missing;
    for (char const* entry_point : {"create", "destroy"}) {
        if (!has(exports.functions, entry_point)) {
            missing.push_back(entry_point);
        }
    }
    if (!missing.empty()) {
        plugin.fault = "an ELF shared object that does not export " +
                       (missing.size() == 2 ? "create and destroy" : missing.front());
        return plugin;
    }
    plugin.found = "ELF shared object, exports create, destroy";
    if (has(exports.functions, datastore::PLUGIN_INTERFACE_VERSION_SYMBOL)) {
        plugin.found += std::string(", ") + datastore::PLUGIN_INTERFACE_VERSION_SYMBOL;
    }
    return plugin;
}

}  // namespace vexa::tool
