// The registry of open instances, completion of vacant fields, selection by
// type, the directories and the shared time stamp.
#include <sys/time.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>
#include <util/common_constants.h>
#include <util/fs.h>

#include "test_support.h"

namespace {

using vexa::datastore::CombinedRType;
using vexa::datastore::DatabaseType;
using vexa::datastore::DataStoreConfig;
using vexa::datastore::DataStoreExtension;
using vexa::datastore::DataStoreParseUtility;

// A do-nothing extension, only there to be pointed at.
class StubExtension : public DataStoreExtension {
  public:
    bool is_ready() override { return true; }
    int control(unsigned short, void const*, void*, void*) override { return 512; }
    int open_instance(std::string const&) override { return 0; }
    std::string describe() const override { return "stub"; }
};

DataStoreConfig record(std::string name, DatabaseType type, std::string const& bits) {
    DataStoreConfig config;
    config.instance_name = std::move(name);
    config.type = type;
    config.source_types = std::bitset<2>(bits);
    return config;
}

std::vector<std::string> names_of(std::vector<DataStoreConfig> const& configs) {
    std::vector<std::string> names;
    for (auto const& config : configs) {
        names.push_back(config.instance_name);
    }
    return names;
}

// Saves and restores both directories, so tests may change them freely.
class DirectoriesTest : public ::testing::Test {
  protected:
    void TearDown() override {
        DataStoreParseUtility::default_install_path = saved_install_;
        DataStoreParseUtility::default_extension_path = saved_extension_;
    }

  private:
    std::string const saved_install_ = DataStoreParseUtility::default_install_path;
    std::string const saved_extension_ = DataStoreParseUtility::default_extension_path;
};

// --- start-up values -------------------------------------------------------------

TEST(RegistryStartUp, StartsEmptyWithTheDefaultDirectoriesAndAZeroStamp) {
    EXPECT_TRUE(DataStoreParseUtility::get_datastore_vector().empty());
    EXPECT_EQ(DataStoreParseUtility::get_default_install_path(),
              vexa::util::CommonConstants::INSTALL_ROOT());
    EXPECT_EQ(DataStoreParseUtility::get_default_extension_path(), "/datastore/quarn64/");
    timeval const stamp = DataStoreParseUtility::get_unique_timestamp();
    EXPECT_EQ(stamp.tv_sec, 0);
    EXPECT_EQ(stamp.tv_usec, 0);
}

TEST(RegistryStartUp, InstallRootOfTheBuildTreeHoldsTheShippedConfiguration) {
    EXPECT_TRUE(vexa::test::exists(DataStoreParseUtility::get_default_install_path() +
                                   "/etc/datastore/default_sqlite.xml"));
}

// --- the registry ----------------------------------------------------------------

// Fills db_vec with three pairs pointing at local stubs and empties it again.
class LocateTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto& registry = DataStoreParseUtility::get_datastore_vector();
        registry.emplace_back(record("first", vexa::datastore::sqlite3, "01"), first_);
        registry.emplace_back(record("second", vexa::datastore::odbc, "01"), second_);
        registry.emplace_back(record("third", vexa::datastore::other, "10"), third_);
    }
    void TearDown() override { DataStoreParseUtility::db_vec.clear(); }

    static std::vector<std::string> names_of(
        std::vector<vexa::datastore::DataStoreInstance> const& pairs) {
        std::vector<std::string> names;
        for (auto const& pair : pairs) {
            names.push_back(pair.first.instance_name);
        }
        return names;
    }

    std::shared_ptr<StubExtension> first_ = std::make_shared<StubExtension>();
    std::shared_ptr<StubExtension> second_ = std::make_shared<StubExtension>();
    std::shared_ptr<StubExtension> third_ = std::make_shared<StubExtension>();
};

TEST_F(LocateTest, GetDatastoreVectorIsTheRegistryItself) {
    EXPECT_EQ(&DataStoreParseUtility::get_datastore_vector(), &DataStoreParseUtility::db_vec);
    EXPECT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 3u);
}

TEST_F(LocateTest, ReverseOrderOfNamesGivesPairsInThatOrder) {
    auto const found = DataStoreParseUtility::locate_datastores({"third", "second", "first"});
    ASSERT_EQ(names_of(found), (std::vector<std::string>{"third", "second", "first"}));
    EXPECT_EQ(found[0].second.lock(), third_);
    EXPECT_EQ(found[1].second.lock(), second_);
    EXPECT_EQ(found[2].second.lock(), first_);
    EXPECT_EQ(names_of(DataStoreParseUtility::db_vec),
              (std::vector<std::string>{"first", "second", "third"}));
}

TEST_F(LocateTest, NameGivenTwiceYieldsItsPairTwice) {
    EXPECT_EQ(names_of(DataStoreParseUtility::locate_datastores({"second", "first", "second"})),
              (std::vector<std::string>{"second", "first", "second"}));
}

TEST_F(LocateTest, UnknownNamesAreSkipped) {
    EXPECT_EQ(names_of(DataStoreParseUtility::locate_datastores({"Second", "secon", "third", ""})),
              (std::vector<std::string>{"third"}));
}

TEST_F(LocateTest, EmptyListGivesNothing) {
    EXPECT_TRUE(DataStoreParseUtility::locate_datastores({}).empty());
}

TEST_F(LocateTest, FirstPairOfARepeatedNameIsFound) {
    auto extra = std::make_shared<StubExtension>();
    DataStoreParseUtility::db_vec.emplace_back(record("first", vexa::datastore::odbc, "10"), extra);
    auto const found = DataStoreParseUtility::locate_datastores({"first"});
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].second.lock(), first_);
}

// --- completing records -----------------------------------------------------------

TEST_F(DirectoriesTest, FillsAnEmptySqliteRecordWithEveryDefault) {
    ASSERT_TRUE(DataStoreParseUtility::set_default_install_path("/opt/vexa"));
    std::vector<DataStoreConfig> configs(1);
    DataStoreParseUtility::fillInVacantFields(configs);
    EXPECT_EQ(configs[0].type, vexa::datastore::sqlite3);
    EXPECT_EQ(configs[0].instance_name, "vexa_default");
    EXPECT_EQ(configs[0].extension_name, "libsqlite.so");
    EXPECT_EQ(configs[0].extension_path, "/opt/vexa//datastore/quarn64/");
    EXPECT_EQ(configs[0].source_parameters,
              "read_only=false|source=\"$HOME/.vexa/2021.4.0/vexa.db\"");
    EXPECT_EQ(configs[0].source_types.to_string(), "01");
}

TEST_F(DirectoriesTest, FillsAnEmptyOdbcRecordWithTheOdbcDefaults) {
    ASSERT_TRUE(DataStoreParseUtility::set_default_install_path("/opt/vexa"));
    std::vector<DataStoreConfig> configs(1);
    configs[0].type = vexa::datastore::odbc;
    DataStoreParseUtility::fillInVacantFields(configs);
    EXPECT_EQ(configs[0].instance_name, "vexa_default");
    EXPECT_EQ(configs[0].extension_name, "libodbc.so");
    EXPECT_EQ(configs[0].extension_path, "/opt/vexa//datastore/quarn64/");
    EXPECT_EQ(configs[0].source_parameters, "odbc_default_dsn");
    EXPECT_EQ(configs[0].source_types.to_string(), "01");
}

TEST_F(DirectoriesTest, OtherRecordGetsOnlyNameDirectoryAndDataBit) {
    ASSERT_TRUE(DataStoreParseUtility::set_default_install_path("/opt/vexa"));
    std::vector<DataStoreConfig> configs(1);
    configs[0].type = vexa::datastore::other;
    DataStoreParseUtility::fillInVacantFields(configs);
    EXPECT_EQ(configs[0].type, vexa::datastore::other);
    EXPECT_EQ(configs[0].instance_name, "vexa_default");
    EXPECT_EQ(configs[0].extension_name, "");
    EXPECT_EQ(configs[0].extension_path, "/opt/vexa//datastore/quarn64/");
    EXPECT_EQ(configs[0].source_parameters, "");
    EXPECT_EQ(configs[0].source_types.to_string(), "01");
}

TEST_F(DirectoriesTest, FilledFieldsAreKeptAndEveryRecordIsCompleted) {
    std::vector<DataStoreConfig> configs(2);
    configs[0].instance_name = "mine";
    configs[0].extension_name = "libmine.so";
    configs[0].extension_path = "/plugins";
    configs[0].source_parameters = "source=/x.db";
    configs[0].source_types.set(vexa::datastore::stream);
    configs[1].type = vexa::datastore::odbc;
    DataStoreParseUtility::fillInVacantFields(configs);
    EXPECT_EQ(configs[0].instance_name, "mine");
    EXPECT_EQ(configs[0].extension_name, "libmine.so");
    EXPECT_EQ(configs[0].extension_path, "/plugins");
    EXPECT_EQ(configs[0].source_parameters, "source=/x.db");
    EXPECT_EQ(configs[0].source_types.to_string(), "10");
    EXPECT_EQ(configs[1].extension_name, "libodbc.so");
}

TEST_F(DirectoriesTest, DefaultExtensionDirectoryIsPlainConcatenation) {
    ASSERT_TRUE(DataStoreParseUtility::set_default_install_path("/opt/vexa/"));
    ASSERT_TRUE(DataStoreParseUtility::set_default_extension_path("/plugins/x64/"));
    std::vector<DataStoreConfig> configs(1);
    DataStoreParseUtility::fillInVacantFields(configs);
    EXPECT_EQ(configs[0].extension_path, "/opt/vexa//plugins/x64");
}

TEST_F(DirectoriesTest, StartUpInstallRootIsUsedUnnormalised) {
    DataStoreParseUtility::default_install_path = vexa::util::CommonConstants::INSTALL_ROOT();
    std::vector<DataStoreConfig> configs(1);
    DataStoreParseUtility::fillInVacantFields(configs);
    EXPECT_EQ(configs[0].extension_path,
              vexa::util::CommonConstants::INSTALL_ROOT() + "//datastore/quarn64/");
}

TEST(FillInVacantFields, EmptyListStaysEmpty) {
    std::vector<DataStoreConfig> configs;
    DataStoreParseUtility::fillInVacantFields(configs);
    EXPECT_TRUE(configs.empty());
}

// --- selection by type ------------------------------------------------------------

CombinedRType mixed_configurations() {
    CombinedRType from;
    from.configurations = {record("lite_data", vexa::datastore::sqlite3, "01"),
                           record("odbc_both", vexa::datastore::odbc, "11"),
                           record("other_data", vexa::datastore::other, "01"),
                           record("lite_stream", vexa::datastore::sqlite3, "10"),
                           record("lite_none", vexa::datastore::sqlite3, "00")};
    return from;
}

TEST(ConfigurationsByType, NoTypesAndNoSourceBitGiveNothing) {
    auto const selected = DataStoreParseUtility::get_configurations_by_type(
        mixed_configurations(), std::bitset<2>(), {}, false);
    EXPECT_TRUE(selected.configurations.empty());
    EXPECT_TRUE(selected.instances.empty());
}

TEST(ConfigurationsByType, NoTypesAndTheDataBitGiveEveryDataRecord) {
    auto const selected = DataStoreParseUtility::get_configurations_by_type(
        mixed_configurations(), std::bitset<2>("01"), {}, false);
    EXPECT_EQ(names_of(selected.configurations),
              (std::vector<std::string>{"lite_data", "odbc_both", "other_data"}));
    EXPECT_TRUE(selected.instances.empty());
}

TEST(ConfigurationsByType, BothBitsSkipADataOnlyRecord) {
    auto const selected = DataStoreParseUtility::get_configurations_by_type(
        mixed_configurations(), std::bitset<2>("11"), {}, false);
    EXPECT_EQ(names_of(selected.configurations), (std::vector<std::string>{"odbc_both"}));
}

TEST(ConfigurationsByType, TypesWithoutSourceBitsSelectByTypeOnly) {
    auto const selected = DataStoreParseUtility::get_configurations_by_type(
        mixed_configurations(), std::bitset<2>(), {vexa::datastore::sqlite3}, false);
    EXPECT_EQ(names_of(selected.configurations),
              (std::vector<std::string>{"lite_data", "lite_stream", "lite_none"}));
}

TEST(ConfigurationsByType, TypeAndSourceBitMustBothMatch) {
    auto const selected = DataStoreParseUtility::get_configurations_by_type(
        mixed_configurations(), std::bitset<2>("10"),
        {vexa::datastore::odbc, vexa::datastore::sqlite3}, false);
    EXPECT_EQ(names_of(selected.configurations),
              (std::vector<std::string>{"odbc_both", "lite_stream"}));
}

TEST(ConfigurationsByType, OpenInstancesWalkThePairsAndKeepTheirHandles) {
    auto lite = std::make_shared<StubExtension>();
    auto odbc = std::make_shared<StubExtension>();
    CombinedRType from = mixed_configurations();
    from.instances.emplace_back(record("open_lite", vexa::datastore::sqlite3, "01"), lite);
    from.instances.emplace_back(record("open_odbc", vexa::datastore::odbc, "01"), odbc);
    auto const selected = DataStoreParseUtility::get_configurations_by_type(
        from, std::bitset<2>("01"), {vexa::datastore::odbc}, true);
    EXPECT_TRUE(selected.configurations.empty());
    ASSERT_EQ(selected.instances.size(), 1u);
    EXPECT_EQ(selected.instances[0].first.instance_name, "open_odbc");
    EXPECT_EQ(selected.instances[0].second.lock(), odbc);
}

TEST(ConfigurationsByType, ConfigurationsAreIgnoredWhenOpenInstancesAreAsked) {
    auto const selected = DataStoreParseUtility::get_configurations_by_type(
        mixed_configurations(), std::bitset<2>("01"), {}, true);
    EXPECT_TRUE(selected.configurations.empty());
    EXPECT_TRUE(selected.instances.empty());
}

// --- directories ----------------------------------------------------------------

TEST_F(DirectoriesTest, EmptyInstallPathIsRefusedAndChangesNothing) {
    std::string const before = DataStoreParseUtility::get_default_install_path();
    EXPECT_FALSE(DataStoreParseUtility::set_default_install_path(""));
    EXPECT_EQ(DataStoreParseUtility::get_default_install_path(), before);
}

TEST_F(DirectoriesTest, EmptyExtensionPathIsRefusedAndChangesNothing) {
    std::string const before = DataStoreParseUtility::get_default_extension_path();
    EXPECT_FALSE(DataStoreParseUtility::set_default_extension_path(""));
    EXPECT_EQ(DataStoreParseUtility::get_default_extension_path(), before);
}

TEST_F(DirectoriesTest, HomePathIsStoredExpandedAndAbsolute) {
    vexa::test::ScopedEnv home("HOME", "/home/someone");
    EXPECT_TRUE(DataStoreParseUtility::set_default_install_path("$HOME/vexa/../inst/"));
    EXPECT_EQ(DataStoreParseUtility::get_default_install_path(), "/home/someone/inst");
    EXPECT_TRUE(DataStoreParseUtility::set_default_extension_path("$HOME/ext"));
    EXPECT_EQ(DataStoreParseUtility::get_default_extension_path(), "/home/someone/ext");
}

TEST_F(DirectoriesTest, RelativePathIsTakenAgainstTheCurrentDirectory) {
    EXPECT_TRUE(DataStoreParseUtility::set_default_install_path("inst"));
    EXPECT_EQ(DataStoreParseUtility::get_default_install_path(), vexa::fs::abspath(".") + "/inst");
}

// --- the shared time stamp ---------------------------------------------------------

TEST(UniqueTimestamp, ReturnsWhatWasLastSet) {
    timeval const before = DataStoreParseUtility::get_unique_timestamp();
    EXPECT_TRUE(DataStoreParseUtility::set_unique_timestamp(timeval{1700000000, 123456}));
    EXPECT_TRUE(DataStoreParseUtility::set_unique_timestamp(timeval{1700000001, 654321}));
    timeval const stamp = DataStoreParseUtility::get_unique_timestamp();
    EXPECT_EQ(stamp.tv_sec, 1700000001);
    EXPECT_EQ(stamp.tv_usec, 654321);
    DataStoreParseUtility::set_unique_timestamp(before);
}

}  // namespace
