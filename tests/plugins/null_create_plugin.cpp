// A test plug-in whose "create" fails: it returns a null object, which the
// controller reports as a failed creation.
#include <datastore/extension.h>

#define NULL_CREATE_EXPORT extern "C" __attribute__((visibility("default")))

NULL_CREATE_EXPORT vexa::datastore::DataStoreExtension* create() noexcept { return nullptr; }

// Receives only what create() returned; delete accepts null.
NULL_CREATE_EXPORT void destroy(vexa::datastore::DataStoreExtension* extension) noexcept {
    delete extension;
}
