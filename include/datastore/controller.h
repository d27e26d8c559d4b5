// The process-wide controller that loads datastore plug-ins, opens one
// extension object per instance, routes control calls to them and closes
// them.
#ifndef VEXA_DATASTORE_CONTROLLER_H_
#define VEXA_DATASTORE_CONTROLLER_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <datastore/config.h>
#include <datastore/export.h>

namespace vexa::datastore {

class DataStoreExtension;

// Thread safety: control() may be called from several threads at once (each
// call locks its own weak handle); load(), open() and close() change the
// controller's maps and need external synchronisation with every other call.
class VEXA_DATASTORE_EXPORT DataStoreController {
  public:
    class Impl;

    DataStoreController();
    ~DataStoreController();

    DataStoreController(DataStoreController const&) = delete;
    DataStoreController& operator=(DataStoreController const&) = delete;

    // The one controller of the process, built on first use. Callers never
    // own it: they lock the weak pointer for each use.
    static std::weak_ptr<DataStoreController> createDataStoreController();

    // Completes the vacant fields of (a copy of) `configs` and loads each
    // plug-in library they name once. `loaded` receives the configurations
    // whose library is available. Result: (library path, 0 or 1) per
    // configuration, indexed by the count of newly loaded libraries. Throws
    // std::runtime_error when a library is missing or lacks an entry point.
    std::vector<std::pair<std::string, int>> load(std::vector<DataStoreConfig> configs,
                                                  std::vector<DataStoreConfig>& loaded);

    // Completes `configs` in place and opens one extension per instance name,
    // appending each to `opened`. Result: (instance name, code), indexed by
    // the count of instances opened. Throws std::runtime_error when a name is
    // already open, creation fails or open_instance() does not return 0.
    std::vector<std::pair<std::string, int>> open(std::vector<DataStoreConfig>& configs,
                                                  std::vector<DataStoreInstance>& opened);

    // Runs control() on the target; 1 when its instance has been closed.
    int control(std::weak_ptr<DataStoreExtension> target, unsigned short opcode, void const* in,
                void* out, void* extra);

    // Closes the named instances, or all of them when `names` is empty (the
    // result is then empty). Unknown names are reported with 1, indexed by
    // their running count. Libraries stay loaded.
    std::vector<std::pair<std::string, int>> close(std::vector<std::string> const& names);

    // Sole owner of the controller; released with the library's static data.
    static std::shared_ptr<DataStoreController> ref_ptr;

  private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_CONTROLLER_H_
