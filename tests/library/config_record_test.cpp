#include <datastore/config.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <datastore/extension.h>

namespace {

namespace ds = vexa::datastore;
using ds::CombinedRType;
using ds::DataStoreConfig;

// Counts every call made to it, so a test can prove that nobody touched it.
class CountingExtension : public ds::DataStoreExtension {
  public:
    explicit CountingExtension(int& destroyed) : destroyed_(destroyed) {}
    ~CountingExtension() override { ++destroyed_; }

    bool is_ready() override {
        ++calls;
        return true;
    }
    int control(unsigned short, void const*, void*, void*) override {
        ++calls;
        return OPERATION_SUCCESSFULL;
    }
    int open_instance(std::string const&) override {
        ++calls;
        return OPERATION_SUCCESSFULL;
    }
    std::string describe() const override {
        ++calls;
        return "counting extension";
    }

    mutable int calls = 0;

  private:
    int& destroyed_;
};

DataStoreConfig sample_config() {
    DataStoreConfig config;
    config.type = ds::odbc;
    config.instance_name = "warehouse";
    config.extension_name = "libodbc.so";
    config.extension_path = "/opt/vexa/datastore/quarn64/";
    config.source_parameters = "odbc_default_dsn";
    config.source_types.set(ds::data).set(ds::stream);
    return config;
}

void expect_sample(DataStoreConfig const& config) {
    EXPECT_EQ(config.type, ds::odbc);
    EXPECT_EQ(config.instance_name, "warehouse");
    EXPECT_EQ(config.extension_name, "libodbc.so");
    EXPECT_EQ(config.extension_path, "/opt/vexa/datastore/quarn64/");
    EXPECT_EQ(config.source_parameters, "odbc_default_dsn");
    EXPECT_EQ(config.source_types.to_ulong(), 3ul);
}

TEST(DataStoreConfig, DefaultConstructsToSqliteEmptyTextsAndNoSourceType) {
    DataStoreConfig const config;
    EXPECT_EQ(config.type, ds::sqlite3);
    EXPECT_EQ(config.instance_name, "");
    EXPECT_EQ(config.extension_name, "");
    EXPECT_EQ(config.extension_path, "");
    EXPECT_EQ(config.source_parameters, "");
    EXPECT_TRUE(config.source_types.none());
    EXPECT_EQ(config.source_types.size(), 2u);
}

TEST(DataStoreConfig, CopyIsDeep) {
    DataStoreConfig const source = sample_config();
    DataStoreConfig copy(source);
    expect_sample(copy);
    copy.instance_name[0] = 'W';
    copy.extension_path.clear();
    copy.source_types.reset(ds::stream);
    copy.type = ds::other;
    expect_sample(source);
}

TEST(DataStoreConfig, CopyAssignmentIsMemberwise) {
    DataStoreConfig const source = sample_config();
    DataStoreConfig target;
    target = source;
    expect_sample(target);
}

TEST(DataStoreConfig, MovingLeavesEmptyTextsButKeepsTypeAndSourceTypes) {
    DataStoreConfig source = sample_config();
    DataStoreConfig const target(std::move(source));
    expect_sample(target);
    EXPECT_EQ(source.instance_name, "");
    EXPECT_EQ(source.extension_name, "");
    EXPECT_EQ(source.extension_path, "");
    EXPECT_EQ(source.source_parameters, "");
    EXPECT_EQ(source.type, ds::odbc);
    EXPECT_EQ(source.source_types.to_ulong(), 3ul);
}

TEST(DataStoreConfig, MoveAssignmentTakesEveryField) {
    DataStoreConfig source = sample_config();
    DataStoreConfig target;
    target.instance_name = "replaced";
    target = std::move(source);
    expect_sample(target);
    EXPECT_EQ(source.type, ds::odbc);
    EXPECT_EQ(source.source_types.to_ulong(), 3ul);
}

TEST(DataStoreConfig, IsAPlainValueType) {
    EXPECT_FALSE(std::is_polymorphic_v<DataStoreConfig>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<DataStoreConfig>);
    EXPECT_TRUE(std::is_copy_assignable_v<DataStoreConfig>);
}

TEST(CombinedRType, StartsWithTwoEmptyLists) {
    CombinedRType const combined;
    EXPECT_TRUE(combined.instances.empty());
    EXPECT_TRUE(combined.configurations.empty());
}

TEST(CombinedRType, DoesNotKeepAnExtensionAlive) {
    int destroyed = 0;
    auto extension = std::make_shared<CountingExtension>(destroyed);
    CombinedRType combined;
    combined.instances.emplace_back(sample_config(), extension);
    EXPECT_EQ(extension.use_count(), 1);
    extension.reset();
    EXPECT_EQ(destroyed, 1);
    EXPECT_TRUE(combined.instances[0].second.expired());
}

TEST(CombinedRType, WithExpiredHandlesCanBeCopiedAndDestroyedWithoutTouchingAnExtension) {
    int destroyed = 0;
    auto kept = std::make_shared<CountingExtension>(destroyed);
    auto closed = std::make_shared<CountingExtension>(destroyed);
    auto combined = std::make_unique<CombinedRType>();
    combined->instances.emplace_back(sample_config(), closed);
    combined->instances.emplace_back(DataStoreConfig(), kept);
    combined->configurations.push_back(sample_config());
    closed.reset();
    ASSERT_EQ(destroyed, 1);

    CombinedRType const copy = *combined;
    combined.reset();

    ASSERT_EQ(copy.instances.size(), 2u);
    expect_sample(copy.instances[0].first);
    EXPECT_TRUE(copy.instances[0].second.expired());
    EXPECT_EQ(copy.instances[0].second.lock(), nullptr);
    EXPECT_EQ(copy.instances[1].second.lock(), kept);
    ASSERT_EQ(copy.configurations.size(), 1u);
    expect_sample(copy.configurations[0]);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(kept->calls, 0);
    EXPECT_EQ(kept.use_count(), 1);
}

TEST(CombinedRType, IsMovedWithItsHandles) {
    int destroyed = 0;
    auto extension = std::make_shared<CountingExtension>(destroyed);
    CombinedRType source;
    source.instances.emplace_back(sample_config(), extension);
    CombinedRType const target(std::move(source));
    ASSERT_EQ(target.instances.size(), 1u);
    EXPECT_EQ(target.instances[0].second.lock(), extension);
    EXPECT_EQ(extension->calls, 0);
}

}  // namespace
