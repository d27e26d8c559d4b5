// The two plain entry points through which the library creates and destroys
// a plug-in's datastore objects. No exception leaves them.
#ifndef VEXA_PLUGIN_COMMON_ENTRY_POINTS_H_
#define VEXA_PLUGIN_COMMON_ENTRY_POINTS_H_

#include <datastore/extension.h>

#define VEXA_PLUGIN_ENTRY extern "C" __attribute__((visibility("default")))

// Defines create() and destroy() of a plug-in whose objects are `Extension`s,
// made with its default constructor (create() answers null when it throws),
// and the version of the plug-in interface the plug-in was built against.
// Used once, at namespace scope, in the plug-in's <name>_entry_points.cpp.
#define VEXA_DATASTORE_ENTRY_POINTS(Extension)                                                \
    VEXA_PLUGIN_ENTRY vexa::datastore::DataStoreExtension* create() noexcept {                \
        try {                                                                                 \
            return new Extension;                                                             \
        } catch (...) {                                                                       \
            return nullptr;                                                                   \
        }                                                                                     \
    }                                                                                         \
    VEXA_PLUGIN_ENTRY void destroy(vexa::datastore::DataStoreExtension* extension) noexcept { \
        delete extension;                                                                     \
    }                                                                                         \
    VEXA_PLUGIN_ENTRY unsigned vexa_plugin_interface_version() noexcept {                     \
        return vexa::datastore::PLUGIN_INTERFACE_VERSION;                                     \
    }

#endif  // VEXA_PLUGIN_COMMON_ENTRY_POINTS_H_
