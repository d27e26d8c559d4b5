// A broken test plug-in: it exports "destroy" but no "create", so the
// controller must refuse to load it.
#include <datastore/extension.h>

extern "C" __attribute__((visibility("default"))) void destroy(
    vexa::datastore::DataStoreExtension* extension) noexcept {
    delete extension;
}
