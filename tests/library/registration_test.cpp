// Registration of configured instances: opening them through the controller
// into the registry, and clearing the registry.
//
// The registry and the controller are process-wide; every test starts and
// ends with an empty registry and uses instance names of its own.
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "plugins/steered_probe.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreConfig;
using vexa::datastore::DataStoreController;
using vexa::datastore::DataStoreExtension;
using vexa::datastore::DataStoreInstance;
using vexa::datastore::DataStoreParseUtility;
using vexa::test::plugin_config;
using vexa::test::runtime_error_of;
using vexa::test::SteeredProbe;

std::string const kSteered = VEXA_PLUGIN_STEERED_PLUGIN;

std::vector<std::string> registered_names() {
    std::vector<std::string> names;
    for (DataStoreInstance const& instance : DataStoreParseUtility::get_datastore_vector()) {
        names.push_back(instance.first.instance_name);
    }
    return names;
}

class Registration : public ::testing::Test {
  protected:
    void SetUp() override { DataStoreParseUtility::clear_db_vector(); }
    void TearDown() override { DataStoreParseUtility::clear_db_vector(); }

    std::vector<DataStoreInstance>& registry = DataStoreParseUtility::get_datastore_vector();
};

TEST_F(Registration, InsertRegistersEveryOpenedInstanceInOrder) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "reg_first"),
                                         plugin_config(kSteered, "reg_second", "code=5")};

    EXPECT_EQ(DataStoreParseUtility::insert_db_instance(configs), 0);

    EXPECT_EQ(registered_names(), (std::vector<std::string>{"reg_first", "reg_second"}));
    std::shared_ptr<DataStoreExtension> second = registry[1].second.lock();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->instance_name, "reg_second");
    // The records were completed in place.
    ASSERT_EQ(configs.size(), 2u);
    EXPECT_TRUE(configs[0].source_types.test(vexa::datastore::data));
    EXPECT_TRUE(registry[0].first.source_types.test(vexa::datastore::data));
}

TEST_F(Registration, InitializeDatastoreExtensionsRegistersLikeInsert) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "init_only")};

    EXPECT_EQ(DataStoreParseUtility::initializeDatastoreExtensions(configs), 0);

    EXPECT_EQ(registered_names(), (std::vector<std::string>{"init_only"}));
    EXPECT_FALSE(registry[0].second.expired());
}

TEST_F(Registration, RegisteringAnOpenNameThrowsAndAppendsNothing) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "still_open")};
    DataStoreParseUtility::insert_db_instance(configs);
    std::vector<DataStoreConfig> again{plugin_config(kSteered, "still_open")};

    std::string message =
        runtime_error_of([&] { DataStoreParseUtility::insert_db_instance(again); });

    EXPECT_EQ(message, "Extension name/path " + kSteered + ", instance still_open already open");
    EXPECT_EQ(registered_names(), (std::vector<std::string>{"still_open"}));
}

TEST_F(Registration, NameClosedByTheControllerAloneIsRegisteredTwice) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "closed_aside")};
    DataStoreParseUtility::insert_db_instance(configs);
    DataStoreController::createDataStoreController().lock()->close({"closed_aside"});
    std::vector<DataStoreConfig> again{plugin_config(kSteered, "closed_aside")};

    DataStoreParseUtility::insert_db_instance(again);

    EXPECT_EQ(registered_names(), (std::vector<std::string>{"closed_aside", "closed_aside"}));
    EXPECT_FALSE(registry[1].second.expired());
    // Lookups find the earlier pair, whose instance is gone.
    std::vector<DataStoreInstance> found =
        DataStoreParseUtility::locate_datastores({"closed_aside"});
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(found[0].second.expired());
}

TEST_F(Registration, LoadFailurePassesThroughAndRegistersNothing) {
    vexa::test::TempDir dir;
    std::string const missing = dir.file("libabsent.so");
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "before_absent"),
                                         plugin_config(missing, "absent")};
    vexa::test::ScopedLogLevel log_level(4);
    vexa::test::StderrCapture capture;

    std::string message =
        runtime_error_of([&] { DataStoreParseUtility::insert_db_instance(configs); });

    EXPECT_EQ(message, "Invalid extension name/path " + missing);
    EXPECT_EQ(capture.text(), "opendir failed on " + missing + ": " + std::to_string(ENOENT) +
                                  ": " + std::strerror(ENOENT) + "\n");
    EXPECT_TRUE(registry.empty());
}

TEST_F(Registration, OpenFailureRegistersNothingOfThatCall) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "opens_fine"),
                                         plugin_config(kSteered, "opens_badly", "open=1")};

    std::string message =
        runtime_error_of([&] { DataStoreParseUtility::insert_db_instance(configs); });

    EXPECT_EQ(message, "Extension name/path " + kSteered + ", instance opens_badly open failed");
    EXPECT_TRUE(registry.empty());
}

TEST_F(Registration, EmptyListRegistersNothing) {
    std::vector<DataStoreConfig> configs;

    EXPECT_EQ(DataStoreParseUtility::insert_db_instance(configs), 0);

    EXPECT_TRUE(configs.empty());
    EXPECT_TRUE(registry.empty());
}

TEST_F(Registration, ClearClosesRegisteredInstancesAndEmptiesTheRegistry) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "cleared")};
    DataStoreParseUtility::insert_db_instance(configs);
    std::weak_ptr<DataStoreExtension> handle = registry[0].second;

    DataStoreParseUtility::clear_db_vector();

    EXPECT_TRUE(registry.empty());
    EXPECT_TRUE(handle.expired());
}

TEST_F(Registration, ClearOnAnEmptyRegistryStillClosesEverythingInTheController) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "unregistered")};
    std::vector<DataStoreInstance> opened;
    DataStoreController::createDataStoreController().lock()->open(configs, opened);
    ASSERT_TRUE(registry.empty());
    SteeredProbe probe(kSteered);
    int const destroyed = probe.destroyed();

    DataStoreParseUtility::clear_db_vector();

    EXPECT_TRUE(registry.empty());
    EXPECT_TRUE(opened[0].second.expired());
    EXPECT_EQ(probe.destroyed(), destroyed + 1);
}

}  // namespace
