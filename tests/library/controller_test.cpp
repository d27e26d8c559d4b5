// The controller: its process-wide instance, opening extension instances,
// routing control calls to them and closing them.
//
// Libraries stay loaded and the controller lives for the whole process, so
// every test closes what it opens, uses instance names of its own, and uses a
// copy of the steered plug-in of its own where it needs a library not loaded
// yet. Counters of the shared steered plug-in are compared as differences.
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
using vexa::test::plugin_config;
using vexa::test::runtime_error_of;
using vexa::test::SteeredProbe;
using Results = std::vector<std::pair<std::string, int>>;

std::string const kSteered = VEXA_PLUGIN_STEERED_PLUGIN;

TEST(ControllerSingleton, RepeatedCallsLockToTheSameController) {
    std::weak_ptr<DataStoreController> first = DataStoreController::createDataStoreController();
    std::weak_ptr<DataStoreController> second = DataStoreController::createDataStoreController();

    // Callers hold weak pointers only; the static pointer is the sole owner.
    EXPECT_EQ(DataStoreController::ref_ptr.use_count(), 1);
    std::shared_ptr<DataStoreController> locked = first.lock();
    ASSERT_NE(locked, nullptr);
    EXPECT_EQ(locked, second.lock());
    EXPECT_EQ(locked, DataStoreController::ref_ptr);
}

TEST(ControllerSingleton, HandedOutPointerStaysValidThroughOpenAndClose) {
    std::weak_ptr<DataStoreController> handle = DataStoreController::createDataStoreController();
    std::shared_ptr<DataStoreController> controller = handle.lock();
    ASSERT_NE(controller, nullptr);
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "singleton_life")};
    std::vector<DataStoreInstance> opened;
    controller->open(configs, opened);
    controller->close({});
    controller.reset();

    EXPECT_FALSE(handle.expired());
    EXPECT_EQ(handle.lock(), DataStoreController::createDataStoreController().lock());
}

class Controller : public ::testing::Test {
  protected:
    std::shared_ptr<DataStoreController> controller =
        DataStoreController::createDataStoreController().lock();
    std::vector<DataStoreInstance> opened;

    // Opens one instance of `library`; returns its handle.
    std::weak_ptr<DataStoreExtension> open_one(std::string const& library, std::string const& name,
                                               std::string const& parameters = "") {
        std::vector<DataStoreConfig> configs{plugin_config(library, name, parameters)};
        Results results = controller->open(configs, opened);
        EXPECT_EQ(results, (Results{{name, 0}}));
        return opened.back().second;
    }
};

TEST_F(Controller, OpenCompletesTheCallersVector) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "")};

    controller->open(configs, opened);

    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].instance_name, vexa::datastore::DEFAULT_DATASTORE_NAME);
    EXPECT_TRUE(configs[0].source_types.test(vexa::datastore::data));
    controller->close({vexa::datastore::DEFAULT_DATASTORE_NAME});
}

TEST_F(Controller, OpenReportsEveryInstanceAndHandsOutItsHandle) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "report_x", "open=0"),
                                         plugin_config(kSteered, "report_y", "ready=false")};

    Results results = controller->open(configs, opened);

    EXPECT_EQ(results, (Results{{"report_x", 0}, {"report_y", 0}}));
    ASSERT_EQ(opened.size(), 2u);
    EXPECT_EQ(opened[0].first.instance_name, "report_x");
    EXPECT_EQ(opened[1].first.source_parameters, "ready=false");
    std::shared_ptr<DataStoreExtension> y = opened[1].second.lock();
    ASSERT_NE(y, nullptr);
    // The extension knows its instance name and was opened with its parameters.
    EXPECT_EQ(y->instance_name, "report_y");
    EXPECT_EQ(y->describe(), "steered ready=false");
    EXPECT_FALSE(y->is_ready());
    y.reset();
    controller->close({"report_x", "report_y"});
}

TEST_F(Controller, OpenLoadsALibraryNotYetLoadedFirst) {
    std::string const library = VEXA_PLUGIN_STEERED_COPY_H;
    ASSERT_FALSE(SteeredProbe::is_loaded(library));

    std::weak_ptr<DataStoreExtension> handle = open_one(library, "fresh_library");

    EXPECT_TRUE(SteeredProbe::is_loaded(library));
    EXPECT_FALSE(handle.expired());
    SteeredProbe probe(library);
    EXPECT_EQ(probe.created(), 1);
    controller->close({"fresh_library"});
    EXPECT_EQ(probe.destroyed(), 1);
}

TEST_F(Controller, OpenOfAnOpenNameThrowsBeforeAnyLibraryWork) {
    open_one(kSteered, "twice");
    std::string const unloaded = VEXA_PLUGIN_STEERED_COPY_G;
    std::vector<DataStoreConfig> configs{plugin_config(unloaded, "twice")};

    vexa::test::StderrCapture capture;
    std::string message = runtime_error_of([&] { controller->open(configs, opened); });

    EXPECT_EQ(message, "Extension name/path " + unloaded + ", instance twice already open");
    EXPECT_EQ(capture.text(), "");
    EXPECT_FALSE(SteeredProbe::is_loaded(unloaded));
    EXPECT_EQ(opened.size(), 1u);
    controller->close({"twice"});
}

TEST_F(Controller, OpenInstanceFailureDestroysTheExtensionAtOnce) {
    SteeredProbe probe(kSteered);
    int const created = probe.created();
    int const destroyed = probe.destroyed();
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "refusing", "open=1")};

    std::string message = runtime_error_of([&] { controller->open(configs, opened); });

    EXPECT_EQ(message, "Extension name/path " + kSteered + ", instance refusing open failed");
    EXPECT_EQ(probe.created(), created + 1);
    EXPECT_EQ(probe.destroyed(), destroyed + 1);
    EXPECT_TRUE(opened.empty());
    // Nothing was recorded, so the name can be opened.
    open_one(kSteered, "refusing");
    controller->close({"refusing"});
}

TEST_F(Controller, AnyNonZeroOpenResultIsAFailure) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "odd_code", "open=7")};

    std::string message = runtime_error_of([&] { controller->open(configs, opened); });

    EXPECT_EQ(message, "Extension name/path " + kSteered + ", instance odd_code open failed");
    EXPECT_TRUE(opened.empty());
}

TEST_F(Controller, InstancesOpenedBeforeAFailureStayOpen) {
    std::vector<DataStoreConfig> configs{plugin_config(kSteered, "early"),
                                         plugin_config(kSteered, "late", "open=1")};

    runtime_error_of([&] { controller->open(configs, opened); });

    ASSERT_EQ(opened.size(), 1u);
    EXPECT_FALSE(opened[0].second.expired());
    EXPECT_EQ(controller->close({"early", "late"}), (Results{{"late", 1}, {"late", 0}}));
}

TEST_F(Controller, NullFromCreateIsReportedAsAFailedCreation) {
    std::string const library = VEXA_PLUGIN_NULL_CREATE_PLUGIN;
    std::vector<DataStoreConfig> configs{plugin_config(library, "null_object")};

    std::string message = runtime_error_of([&] { controller->open(configs, opened); });

    EXPECT_EQ(message, "Extension name/path " + library + " create handle failed");
    EXPECT_TRUE(opened.empty());
}

TEST_F(Controller, ControlReturnsTheExtensionsResultUnchanged) {
    std::weak_ptr<DataStoreExtension> steered = open_one(kSteered, "routed", "code=77");
    std::weak_ptr<DataStoreExtension> plain = open_one(kSteered, "routed_plain");

    EXPECT_EQ(controller->control(steered, vexa::datastore::OP_SELECT, nullptr, nullptr, nullptr),
              77);
    // An opcode no extension serves is answered by the extension's dispatch.
    EXPECT_EQ(controller->control(plain, 7, nullptr, nullptr, nullptr), 512);
    controller->close({"routed", "routed_plain"});
}

TEST_F(Controller, ControlOnAClosedInstanceReturnsOneAndCallsNothing) {
    // Were the extension still called, it would answer 77 or throw.
    std::weak_ptr<DataStoreExtension> answering = open_one(kSteered, "closed_code", "code=77");
    std::weak_ptr<DataStoreExtension> throwing = open_one(kSteered, "closed_throw", "throw=std");
    controller->close({"closed_code", "closed_throw"});

    EXPECT_TRUE(answering.expired());
    EXPECT_EQ(controller->control(answering, vexa::datastore::OP_SELECT, nullptr, nullptr, nullptr),
              1);
    EXPECT_EQ(controller->control(throwing, vexa::datastore::OP_SELECT, nullptr, nullptr, nullptr),
              1);
    EXPECT_EQ(controller->control({}, vexa::datastore::OP_SELECT, nullptr, nullptr, nullptr), 1);
}

TEST_F(Controller, CloseWithNoNamesDestroysEveryExtensionAndReportsNothing) {
    std::weak_ptr<DataStoreExtension> first = open_one(kSteered, "all_first");
    std::weak_ptr<DataStoreExtension> second = open_one(kSteered, "all_second");
    SteeredProbe probe(kSteered);
    int const destroyed = probe.destroyed();

    Results results = controller->close({});

    EXPECT_TRUE(results.empty());
    EXPECT_EQ(probe.destroyed(), destroyed + 2);
    EXPECT_TRUE(first.expired());
    EXPECT_TRUE(second.expired());
}

TEST_F(Controller, CloseReportsUnknownNamesAtTheirRunningCount) {
    std::weak_ptr<DataStoreExtension> a = open_one(kSteered, "close_a");
    std::weak_ptr<DataStoreExtension> b = open_one(kSteered, "close_b");

    Results results = controller->close({"close_a", "close_b", "close_c"});

    // The unknown name overwrites the first entry, not its own third one.
    EXPECT_EQ(results, (Results{{"close_c", 1}, {"close_b", 0}, {"close_c", 0}}));
    EXPECT_TRUE(a.expired());
    EXPECT_TRUE(b.expired());
}

TEST_F(Controller, ClosedNameCanBeOpenedAgainFromTheLoadedLibrary) {
    open_one(kSteered, "reopened");
    controller->close({"reopened"});

    EXPECT_TRUE(SteeredProbe::is_loaded(kSteered));
    std::weak_ptr<DataStoreExtension> again = open_one(kSteered, "reopened");

    EXPECT_FALSE(again.expired());
    controller->close({"reopened"});
}

TEST(ControllerImpl, DestructionReleasesEveryExtensionThroughItsLibrary) {
    std::string const library = VEXA_PLUGIN_STEERED_COPY_E;
    std::pair<int, int> const before = [&] {
        SteeredProbe probe(library);
        return std::make_pair(probe.created(), probe.destroyed());
    }();
    std::weak_ptr<DataStoreExtension> handle;
    {
        // A controller of its own, so its destruction can be observed.
        DataStoreController controller;
        std::vector<DataStoreConfig> configs{plugin_config(library, "owned_a"),
                                             plugin_config(library, "owned_b")};
        std::vector<DataStoreInstance> opened;
        controller.open(configs, opened);
        handle = opened[0].second;
        ASSERT_FALSE(handle.expired());
    }

    EXPECT_TRUE(handle.expired());
    // The library outlives its controller, and with it the counters.
    ASSERT_TRUE(SteeredProbe::is_loaded(library));
    SteeredProbe probe(library);
    EXPECT_EQ(probe.created(), before.first + 2);
    EXPECT_EQ(probe.destroyed(), before.second + 2);
}

}  // namespace
