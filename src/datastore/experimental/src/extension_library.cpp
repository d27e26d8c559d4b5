#include "extension_library.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <datastore/extension.h>
#include <util/log.h>

#include "plugin_file_check.h"

namespace vexa::datastore {

namespace {

// The only calls into the dynamic loader.
void* open_library(std::string const& path) { return dlopen(path.c_str(), RTLD_LAZY); }
void* find_symbol(void* handle, char const* name) { return dlsym(handle, name); }
void close_library(void* handle) { dlclose(handle); }
std::string loader_error() {
    char const* text = dlerror();
    return text != nullptr ? text : "";
}

constexpr int kWarning = 4;

// Throws "Invalid extension name/path" unless `path` names an existing
// file, warning why.
void require_file(std::string const& path) {
    struct stat status;
    if (!path.empty() && stat(path.c_str(), &status) == 0) {
        return;
    }
    std::string const text = "Invalid extension name/path " + path;
    if (path.empty()) {
        // An empty path is refused as it is, without asking the file system.
        throw ExtensionLibraryRefused(text, text);
    }
    int const error = errno;
    std::string const reason =
        "opendir failed on " + path + ": " + std::to_string(error) + ": " + std::strerror(error);
    log::ErrorLog(kWarning).stream() << reason;
    throw ExtensionLibraryRefused(text, reason);
}

// Refuses the library at `path` that the loader cannot (or must not try to)
// map, for the reason `reason`.
[[noreturn]] void refuse_library(std::string const& path, std::string const& reason) {
    std::string const warning = "error opening extension library " + path + ": '" + reason + "'";
    log::ErrorLog(kWarning).stream() << warning;
    throw ExtensionLibraryRefused("unable to load datastore extension " + path, warning);
}

// The entry point `name` of `handle`; closes the library and throws `message`
// followed by `path` when it is missing.
void* require_symbol(void* handle, char const* name, char const* message, std::string const& path) {
    void* symbol = find_symbol(handle, name);
    if (symbol == nullptr) {
        close_library(handle);
        throw ExtensionLibraryRefused(message + path, message + path);
    }
    return symbol;
}

// A plug-in of this project built against another version of the plug-in
// interface would call through slots that are not where it expects them:
// closes it and refuses it. One that does not say its version is trusted.
void refuse_other_interface_version(void* handle, std::string const& path) {
    using VersionFn = unsigned (*)();
    auto version =
        reinterpret_cast<VersionFn>(find_symbol(handle, PLUGIN_INTERFACE_VERSION_SYMBOL));
    if (version == nullptr || version() == PLUGIN_INTERFACE_VERSION) {
        return;
    }
    unsigned const built_for = version();
    close_library(handle);
    refuse_library(path, path + ": built for plug-in interface version " +
                             std::to_string(built_for) + ", this library has version " +
                             std::to_string(PLUGIN_INTERFACE_VERSION));
}

}  // namespace

DSExtensionData load_extension_library(std::string const& path) {
    require_file(path);
    // Worded as the loader words its own refusals: the file, then why.
    std::string const fault = plugin_file_fault(path);
    if (!fault.empty()) {
        refuse_library(path, path + ": " + fault);
    }
    void* handle = open_library(path);
    if (handle == nullptr) {
        refuse_library(path, loader_error());
    }
    DSExtensionData library;
    library.handle = handle;
    library.create_fn = reinterpret_cast<DSExtensionData::CreateFn>(
        require_symbol(handle, "create", "Unable to find create handle for ", path));
    library.destroy_fn = reinterpret_cast<DSExtensionData::DestroyFn>(
        require_symbol(handle, "destroy", "Unable to find destroy handle for ", path));
    refuse_other_interface_version(handle, path);
    return library;
}

}  // namespace vexa::datastore
