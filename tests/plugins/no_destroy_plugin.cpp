// A broken test plug-in: it exports "create" but no "destroy", so the
// controller must refuse to load it. Nothing is ever created, because the
// library is refused before "create" could be called.
#include <datastore/extension.h>

extern "C" __attribute__((visibility("default"))) vexa::datastore::DataStoreExtension*
create() noexcept {
    return nullptr;
}
