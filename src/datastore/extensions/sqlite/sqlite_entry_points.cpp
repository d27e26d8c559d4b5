// The two plain entry points through which the library creates and
// destroys SQLite datastore objects. No exception leaves them.
#include <datastore/extension.h>

#include "sqlite_extension.h"

#define VEXA_PLUGIN_ENTRY extern "C" __attribute__((visibility("default")))

VEXA_PLUGIN_ENTRY vexa::datastore::DataStoreExtension* create() noexcept {
    try {
        return new vexa::datastore::sqlite_plugin::SqliteExtension;
    } catch (...) {
        return nullptr;
    }
}

VEXA_PLUGIN_ENTRY void destroy(vexa::datastore::DataStoreExtension* extension) noexcept {
    delete extension;
}
