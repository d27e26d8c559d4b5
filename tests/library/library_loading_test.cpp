// Loading plug-in libraries through DataStoreController::load: one load per
// library path, the running result index, and the failures of a missing file,
// a file that is no library and a library lacking an entry point.
//
// Libraries stay loaded for the life of the process, so every test that
// needs a library not loaded yet uses a copy of the steered plug-in that no
// other test here uses.
#include <dlfcn.h>

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
using vexa::datastore::DataStoreParseUtility;
using vexa::datastore::PLUGIN_INTERFACE_VERSION;
using vexa::datastore::PLUGIN_INTERFACE_VERSION_SYMBOL;
using vexa::test::plugin_config;
using vexa::test::StderrCapture;
using vexa::test::SteeredProbe;
using Results = std::vector<std::pair<std::string, int>>;

class LibraryLoading : public ::testing::Test {
  protected:
    std::shared_ptr<DataStoreController> controller =
        DataStoreController::createDataStoreController().lock();
    vexa::test::ScopedLogLevel log_level{4};
    std::vector<DataStoreConfig> loaded;

    // The message of the std::runtime_error that load() throws for `configs`,
    // and what it wrote to standard error meanwhile.
    std::pair<std::string, std::string> load_failure(std::vector<DataStoreConfig> const& configs) {
        StderrCapture capture;
        try {
            controller->load(configs, loaded);
        } catch (std::runtime_error const& error) {
            return {error.what(), capture.text()};
        }
        ADD_FAILURE() << "load() did not throw";
        return {"", capture.text()};
    }
};

TEST_F(LibraryLoading, ConfigurationsSharingALibraryLoadItOnce) {
    std::string const path = VEXA_PLUGIN_STEERED_COPY_A;
    ASSERT_FALSE(SteeredProbe::is_loaded(path));

    Results results = controller->load(
        {plugin_config(path, "shared_first"), plugin_config(path, "shared_second")}, loaded);

    // Only the first configuration loaded the library; the second entry keeps
    // its failure code although its library is available.
    EXPECT_EQ(results, (Results{{path, 0}, {path, 1}}));
    ASSERT_EQ(loaded.size(), 2u);
    EXPECT_EQ(loaded[0].instance_name, "shared_first");
    EXPECT_EQ(loaded[1].instance_name, "shared_second");
    EXPECT_TRUE(SteeredProbe::is_loaded(path));

    // A later call reuses the library as well.
    results = controller->load({plugin_config(path, "shared_third")}, loaded);
    EXPECT_EQ(results, (Results{{path, 1}}));
    ASSERT_EQ(loaded.size(), 1u);
    EXPECT_EQ(loaded[0].instance_name, "shared_third");
}

TEST_F(LibraryLoading, ResultIsIndexedByTheCountOfNewlyLoadedLibraries) {
    std::string const shared = VEXA_PLUGIN_STEERED_COPY_B;
    std::string const other = VEXA_PLUGIN_STEERED_COPY_C;
    ASSERT_FALSE(SteeredProbe::is_loaded(shared));
    ASSERT_FALSE(SteeredProbe::is_loaded(other));

    Results results =
        controller->load({plugin_config(shared, "index_a"), plugin_config(shared, "index_b"),
                          plugin_config(other, "index_c")},
                         loaded);

    EXPECT_EQ(results, (Results{{shared, 0}, {other, 0}, {other, 1}}));
    ASSERT_EQ(loaded.size(), 3u);
    EXPECT_EQ(loaded[0].instance_name, "index_a");
    EXPECT_EQ(loaded[1].instance_name, "index_b");
    EXPECT_EQ(loaded[2].instance_name, "index_c");
}

TEST_F(LibraryLoading, MissingFileIsLoggedAndReportedAsAnInvalidPath) {
    vexa::test::TempDir dir;
    std::string const path = dir.file("libmissing.so");

    auto [message, log] = load_failure({plugin_config(path, "missing")});

    EXPECT_EQ(message, "Invalid extension name/path " + path);
    EXPECT_EQ(log, "opendir failed on " + path + ": " + std::to_string(ENOENT) + ": " +
                       std::strerror(ENOENT) + "\n");
}

TEST_F(LibraryLoading, FileThatIsNoLibraryIsLoggedWithTheLoaderText) {
    vexa::test::TempDir dir;
    std::string const path = dir.file("libgarbage.so");
    vexa::test::write_file(path, "not a shared library\n");
    // The loader gives the same text for the same file every time.
    ASSERT_EQ(dlopen(path.c_str(), RTLD_LAZY), nullptr);
    std::string const loader_text = dlerror();

    auto [message, log] = load_failure({plugin_config(path, "garbage")});

    EXPECT_EQ(message, "unable to load datastore extension " + path);
    EXPECT_EQ(log, "error opening extension library " + path + ": '" + loader_text + "'\n");
}

TEST_F(LibraryLoading, LibraryWithoutCreateIsClosedAndRefused) {
    std::string const path = VEXA_PLUGIN_NO_CREATE_PLUGIN;

    auto [message, log] = load_failure({plugin_config(path, "no_create")});

    EXPECT_EQ(message, "Unable to find create handle for " + path);
    EXPECT_EQ(log, "");
    EXPECT_FALSE(SteeredProbe::is_loaded(path));
}

TEST_F(LibraryLoading, LibraryWithoutDestroyIsClosedAndRefused) {
    std::string const path = VEXA_PLUGIN_NO_DESTROY_PLUGIN;

    auto [message, log] = load_failure({plugin_config(path, "no_destroy")});

    EXPECT_EQ(message, "Unable to find destroy handle for " + path);
    EXPECT_EQ(log, "");
    EXPECT_FALSE(SteeredProbe::is_loaded(path));
}

TEST_F(LibraryLoading, LibraryOfAnotherInterfaceVersionIsClosedAndRefused) {
    std::string const path = VEXA_PLUGIN_OTHER_INTERFACE_VERSION_PLUGIN;
    std::string const other = std::to_string(PLUGIN_INTERFACE_VERSION + 1);
    std::string const ours = std::to_string(PLUGIN_INTERFACE_VERSION);

    auto [message, log] = load_failure({plugin_config(path, "other_version")});

    EXPECT_EQ(message, "unable to load datastore extension " + path);
    EXPECT_EQ(log, "error opening extension library " + path + ": '" + path +
                       ": built for plug-in interface version " + other +
                       ", this library has version " + ours + "'\n");
    EXPECT_FALSE(SteeredProbe::is_loaded(path));
}

TEST(PluginInterfaceVersion, ThisProjectsPluginsSayTheVersionTheyWereBuiltFor) {
    for (std::string const path : {VEXA_SQLITE_PLUGIN, VEXA_ODBC_PLUGIN}) {
        void* handle = dlopen(path.c_str(), RTLD_LAZY);
        ASSERT_NE(handle, nullptr) << dlerror();
        auto version =
            reinterpret_cast<unsigned (*)()>(dlsym(handle, PLUGIN_INTERFACE_VERSION_SYMBOL));
        ASSERT_NE(version, nullptr) << path;
        EXPECT_EQ(version(), PLUGIN_INTERFACE_VERSION) << path;
        dlclose(handle);
    }
}

TEST_F(LibraryLoading, FailureKeepsTheLibrariesLoadedBeforeIt) {
    std::string const good = VEXA_PLUGIN_STEERED_COPY_D;
    vexa::test::TempDir dir;
    std::string const missing = dir.file("libmissing.so");

    auto [message, log] =
        load_failure({plugin_config(good, "before_failure"), plugin_config(missing, "failing")});

    EXPECT_EQ(message, "Invalid extension name/path " + missing);
    ASSERT_EQ(loaded.size(), 1u);
    EXPECT_EQ(loaded[0].instance_name, "before_failure");
    EXPECT_EQ(controller->load({plugin_config(good, "after_failure")}, loaded),
              (Results{{good, 1}}));
}

TEST_F(LibraryLoading, EmptyInputReturnsNothingAndLeavesLoadedAlone) {
    loaded = {plugin_config(VEXA_PLUGIN_STEERED_PLUGIN, "kept")};

    EXPECT_TRUE(controller->load({}, loaded).empty());

    ASSERT_EQ(loaded.size(), 1u);
    EXPECT_EQ(loaded[0].instance_name, "kept");
}

TEST_F(LibraryLoading, LoadCompletesACopyAndLeavesTheCallersVectorUntouched) {
    DataStoreConfig vacant = plugin_config(VEXA_PLUGIN_STEERED_PLUGIN, "");
    std::vector<DataStoreConfig> input{vacant};

    controller->load(input, loaded);

    ASSERT_EQ(input.size(), 1u);
    EXPECT_EQ(input[0].instance_name, "");
    EXPECT_TRUE(input[0].source_types.none());
    ASSERT_EQ(loaded.size(), 1u);
    EXPECT_EQ(loaded[0].instance_name, vexa::datastore::DEFAULT_DATASTORE_NAME);
    EXPECT_TRUE(loaded[0].source_types.test(vexa::datastore::data));
}

TEST_F(LibraryLoading, VacantDirectoryIsTheDefaultExtensionDirectory) {
    vexa::test::TempDir install;
    std::string const saved = DataStoreParseUtility::get_default_install_path();
    ASSERT_TRUE(DataStoreParseUtility::set_default_install_path(install.path()));
    DataStoreConfig config = plugin_config(VEXA_PLUGIN_STEERED_PLUGIN, "default_directory");
    config.extension_path.clear();
    config.extension_name = "libnowhere.so";

    auto [message, log] = load_failure({config});
    DataStoreParseUtility::set_default_install_path(saved);

    std::string const path = install.path() + "/datastore/quarn64/libnowhere.so";
    EXPECT_EQ(message, "Invalid extension name/path " + path);
    EXPECT_EQ(log, "opendir failed on " + path + ": " + std::to_string(ENOENT) + ": " +
                       std::strerror(ENOENT) + "\n");
}

}  // namespace
