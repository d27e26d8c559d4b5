// Loading of one datastore plug-in library and its two entry points.
#ifndef VEXA_DATASTORE_EXTENSION_LIBRARY_H_
#define VEXA_DATASTORE_EXTENSION_LIBRARY_H_

#include <stdexcept>
#include <string>
#include <utility>

namespace vexa::datastore {

class DataStoreExtension;

// A loaded plug-in library: its handle and its "create" and "destroy" entry
// points. The handle is never closed once the library is accepted.
struct DSExtensionData {
    using CreateFn = DataStoreExtension* (*)();
    using DestroyFn = void (*)(DataStoreExtension*);

    void* handle = nullptr;
    CreateFn create_fn = nullptr;
    DestroyFn destroy_fn = nullptr;
};

// Loads the plug-in library at `path` (which must exist) and finds its entry
// points. Throws std::runtime_error "Invalid extension name/path ", "unable
// to load datastore extension ", "Unable to find create handle for " or
// "Unable to find destroy handle for " followed by `path`; the first two are
// preceded by a warning on the log. A library lacking an entry point is
// closed again before the throw, and so is one that exports another
// PLUGIN_INTERFACE_VERSION (refused as unable to load, with both versions
// in the warning).
// Every one of them is an ExtensionLibraryRefused.
DSExtensionData load_extension_library(std::string const& path);

// A plug-in library refused: what() is the fixed text above, `reason` the
// whole cause, worded as the warning logged for it (or as what() when none
// is logged), for the instances that cannot open for it.
struct ExtensionLibraryRefused : std::runtime_error {
    ExtensionLibraryRefused(std::string const& text, std::string cause)
        : std::runtime_error(text), reason(std::move(cause)) {}
    std::string reason;
};

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_EXTENSION_LIBRARY_H_
