// The two plain entry points through which the library creates and
// destroys ODBC datastore objects. No exception leaves them.
#include <datastore/extension.h>

#include "odbc_extension.h"

#define VEXA_PLUGIN_ENTRY extern "C" __attribute__((visibility("default")))

VEXA_PLUGIN_ENTRY vexa::datastore::DataStoreExtension* create() noexcept {
    try {
        return new vexa::datastore::odbc_plugin::OdbcExtension;
    } catch (...) {
        return nullptr;
    }
}

VEXA_PLUGIN_ENTRY void destroy(vexa::datastore::DataStoreExtension* extension) noexcept {
    delete extension;
}
