// A test plug-in built, it says, against the next version of the plug-in
// interface, so the library must refuse it. Nothing is ever created.
#include <datastore/extension.h>

#define TEST_PLUGIN_ENTRY extern "C" __attribute__((visibility("default")))

TEST_PLUGIN_ENTRY vexa::datastore::DataStoreExtension* create() noexcept { return nullptr; }
TEST_PLUGIN_ENTRY void destroy(vexa::datastore::DataStoreExtension*) noexcept {}
TEST_PLUGIN_ENTRY unsigned vexa_plugin_interface_version() noexcept {
    return vexa::datastore::PLUGIN_INTERFACE_VERSION + 1;
}
