// Registration: opening configured instances through the controller and
// recording them in the registry, and closing them all again.
#include <memory>

#include <datastore/controller.h>
#include <datastore/parse_utility.h>

namespace vexa::datastore {

int DataStoreParseUtility::insert_db_instance(std::vector<DataStoreConfig>& configs) {
    std::shared_ptr<DataStoreController> controller =
        DataStoreController::createDataStoreController().lock();
    if (!controller) {
        return 0;
    }
    // load() works on a copy and leaves in `configs` the completed records
    // whose library is available; those are the ones opened.
    controller->load(configs, configs);
    std::vector<DataStoreInstance> opened;
    controller->open(configs, opened);
    for (DataStoreInstance const& instance : opened) {
        db_vec.push_back(instance);
    }
    return 0;
}

int DataStoreParseUtility::initializeDatastoreExtensions(std::vector<DataStoreConfig>& configs) {
    return insert_db_instance(configs);
}

void DataStoreParseUtility::clear_db_vector() {
    if (std::shared_ptr<DataStoreController> controller =
            DataStoreController::createDataStoreController().lock()) {
        controller->close({});
    }
    db_vec.clear();
}

}  // namespace vexa::datastore
