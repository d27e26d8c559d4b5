// Loading plug-in libraries, opening and closing extension instances, and
// routing control calls to them: bookkeeping over the two maps of Impl.
#include "data_store_controller_impl.h"

#include <stdexcept>

#include <datastore/extension.h>
#include <datastore/parse_utility.h>

#include "failure_reasons.h"

namespace vexa::datastore {

namespace {

constexpr int kSuccess = DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailure = DataStoreExtension::OPERATION_UNSUCCESSFULL;

// The file a configuration's plug-in is loaded from, and the library map's key.
std::string library_path(DataStoreConfig const& config) {
    return DataStoreParseUtility::generate_path(config.extension_path, config.extension_name, "");
}

std::string instance_label(std::string const& path, std::string const& instance) {
    return "Extension name/path " + path + ", instance " + instance;
}

}  // namespace

DataStoreController::Impl::~Impl() {
    // Extensions first: their destroy functions live in the libraries.
    descriptions_.clear();
    libraries_.clear();
}

DataStoreController::Impl::Results DataStoreController::Impl::load_impl(
    std::vector<DataStoreConfig> configs, std::vector<DataStoreConfig>& loaded) {
    Results results;
    if (configs.empty()) {
        return results;
    }
    results.reserve(configs.size());
    DataStoreParseUtility::fillInVacantFields(configs);
    for (DataStoreConfig const& config : configs) {
        results.emplace_back(library_path(config), kFailure);
    }
    loaded.clear();
    loaded.reserve(configs.size());
    // Successes are written at the running count of newly loaded libraries,
    // not at the configuration's own position, so a configuration whose
    // library was already loaded leaves a failure entry at the end.
    std::size_t newly_loaded = 0;
    for (DataStoreConfig const& config : configs) {
        std::string const path = library_path(config);
        if (libraries_.count(path) == 0) {
            try {
                libraries_.emplace(path, load_extension_library(path));
            } catch (ExtensionLibraryRefused const& refused) {
                // The instance will not open, for the library's reason.
                detail::remember_open_result(
                    config.instance_name,
                    DatastoreFailure{config.instance_name,
                                     DataStoreExtension::OPERATION_UNSUCCESSFULL, refused.reason});
                throw;
            }
            results[newly_loaded++] = {path, kSuccess};
        }
        loaded.push_back(config);
    }
    return results;
}

DataStoreController::Impl::Results DataStoreController::Impl::open_impl(
    std::vector<DataStoreConfig>& configs, std::vector<DataStoreInstance>& opened) {
    Results results;
    results.reserve(configs.size());
    DataStoreParseUtility::fillInVacantFields(configs);
    for (DataStoreConfig const& config : configs) {
        results.emplace_back(config.instance_name, kFailure);
    }
    // As in load_impl, results are written at the running count of opened instances.
    std::size_t newly_opened = 0;
    for (DataStoreConfig const& config : configs) {
        std::string const path = library_path(config);
        std::string const& name = config.instance_name;
        if (descriptions_.count(name) != 0) {
            throw std::runtime_error(instance_label(path, name) + " already open");
        }
        detail::remember_open_result(name, std::nullopt);
        if (libraries_.count(path) == 0) {
            std::vector<DataStoreConfig> ignored;
            load_impl({config}, ignored);
        }
        DSExtensionData const& library = libraries_.at(path);
        DataStoreDescription description{
            std::shared_ptr<DataStoreExtension>(library.create_fn(), library.destroy_fn), config};
        if (!description.extension) {
            throw std::runtime_error("Extension name/path " + path + " create handle failed");
        }
        description.extension->instance_name = name;
        int const code = description.extension->open_instance(config.source_parameters);
        results[newly_opened++] = {name, code};
        if (code != kSuccess) {
            // Asked now: the reason goes with the object.
            detail::remember_open_result(
                name,
                DatastoreFailure{name, code, detail::last_failure_of(*description.extension)});
            // Leaving the scope releases the object through its library's destroy.
            throw std::runtime_error(instance_label(path, name) + " open failed");
        }
        std::weak_ptr<DataStoreExtension> handle = description.extension;
        descriptions_.emplace(name, std::move(description));
        opened.emplace_back(config, handle);
    }
    return results;
}

int DataStoreController::Impl::control_impl(std::weak_ptr<DataStoreExtension> target,
                                            unsigned short opcode, void const* in, void* out,
                                            void* extra) {
    // The strong reference keeps the extension alive for this call only.
    std::shared_ptr<DataStoreExtension> extension = target.lock();
    if (!extension) {
        return kFailure;
    }
    return extension->control(opcode, in, out, extra);
}

DataStoreController::Impl::Results DataStoreController::Impl::close_impl(
    std::vector<std::string> const& names) {
    Results results;
    if (names.empty()) {
        // Closing everything reports nothing, not even the instances closed.
        results.reserve(descriptions_.size());
        descriptions_.clear();
        return results;
    }
    results.reserve(names.size());
    for (std::string const& name : names) {
        results.emplace_back(name, kSuccess);
    }
    // Unknown names overwrite the entries from the front, at their running count.
    std::size_t unknown = 0;
    for (std::string const& name : names) {
        if (descriptions_.erase(name) == 0) {
            results[unknown++] = {name, kFailure};
        }
    }
    return results;
}

}  // namespace vexa::datastore
