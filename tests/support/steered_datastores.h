// Datastores served by the test plug-ins (chiefly the steered one,
// plugins/steered_plugin.cpp), registered through the library's own
// registration, for the front-end suites. Each instance is steered by its source parameters, e.g.
//   register_steered("a", "row=p/h/5|row=p/h/9");
//   register_steered("b", "code=512");
#ifndef VEXA_TESTS_SUPPORT_STEERED_DATASTORES_H_
#define VEXA_TESTS_SUPPORT_STEERED_DATASTORES_H_

#include <gtest/gtest.h>

#include <bitset>
#include <string>
#include <vector>

#include <datastore/datastore.h>

#include "plugins/steered_probe.h"

namespace vexa::test {

inline std::bitset<2> data_only() { return std::bitset<2>().set(datastore::data); }

// The configuration of instance `name` of the test plug-in at `plugin`.
inline datastore::DataStoreConfig plugin_config(std::string const& plugin, std::string name,
                                                std::string parameters, std::bitset<2> kinds) {
    datastore::DataStoreConfig config;
    config.type = datastore::other;
    config.instance_name = std::move(name);
    config.extension_path = str::dirname(plugin);
    config.extension_name = plugin.substr(plugin.rfind('/') + 1);
    config.source_parameters = std::move(parameters);
    config.source_types = kinds;
    return config;
}

// Opens instance `name` of the test plug-in at `plugin` and appends it to the
// registry.
inline void register_plugin(std::string const& plugin, std::string name, std::string parameters,
                            std::bitset<2> kinds) {
    std::vector<datastore::DataStoreConfig> configs{
        plugin_config(plugin, std::move(name), std::move(parameters), kinds)};
    datastore::DataStoreParseUtility::initializeDatastoreExtensions(configs);
}

inline void register_steered(std::string name, std::string parameters,
                             std::bitset<2> kinds = data_only()) {
    register_plugin(VEXA_PLUGIN_STEERED_PLUGIN, std::move(name), std::move(parameters), kinds);
}

// The last query text any steered instance received.
inline std::string steered_last_query() {
    return SteeredProbe(VEXA_PLUGIN_STEERED_PLUGIN).last_query();
}

// Closes every instance and empties the registry after each test, so tests
// do not see each other's datastores.
class RegistryTest : public ::testing::Test {
  protected:
    void TearDown() override { datastore::DataStoreParseUtility::clear_db_vector(); }
};

// (name, result, reason) of each failure, for comparing in one go.
inline std::vector<std::string> described(
    std::vector<datastore::DatastoreFailure> const& failures) {
    std::vector<std::string> texts;
    for (auto const& failure : failures) {
        texts.push_back(failure.instance_name + " " + std::to_string(failure.result) + " " +
                        failure.reason);
    }
    return texts;
}

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_STEERED_DATASTORES_H_
