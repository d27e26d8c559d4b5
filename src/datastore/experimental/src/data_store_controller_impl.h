// The controller's state: the open extension instances and the loaded
// plug-in libraries, and the logic of loading, opening, routing and closing.
#ifndef VEXA_DATASTORE_DATA_STORE_CONTROLLER_IMPL_H_
#define VEXA_DATASTORE_DATA_STORE_CONTROLLER_IMPL_H_

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <datastore/config.h>
#include <datastore/controller.h>

#include "extension_library.h"

namespace vexa::datastore {

// One open instance. `extension` is the only owner of the object; its
// deleter is the "destroy" entry point of the library that created it.
struct DataStoreDescription {
    std::shared_ptr<DataStoreExtension> extension;
    DataStoreConfig config;
};

class DataStoreController::Impl {
  public:
    using Results = std::vector<std::pair<std::string, int>>;

    Impl() = default;
    // Releases every open extension, then forgets the libraries without
    // unloading them.
    ~Impl();

    Impl(Impl const&) = delete;
    Impl& operator=(Impl const&) = delete;

    Results load_impl(std::vector<DataStoreConfig> configs, std::vector<DataStoreConfig>& loaded);
    Results open_impl(std::vector<DataStoreConfig>& configs,
                      std::vector<DataStoreInstance>& opened);
    int control_impl(std::weak_ptr<DataStoreExtension> target, unsigned short opcode,
                     void const* in, void* out, void* extra);
    Results close_impl(std::vector<std::string> const& names);

  private:
    std::unordered_map<std::string, DataStoreDescription> descriptions_;  // by instance name
    std::unordered_map<std::string, DSExtensionData> libraries_;          // by library path
};

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_DATA_STORE_CONTROLLER_IMPL_H_
