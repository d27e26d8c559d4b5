// The controller facade: the process-wide instance and forwarding to Impl.
#include <datastore/controller.h>

#include "data_store_controller_impl.h"

namespace vexa::datastore {

std::shared_ptr<DataStoreController> DataStoreController::ref_ptr;

DataStoreController::DataStoreController() : impl_(std::make_unique<Impl>()) {}

DataStoreController::~DataStoreController() = default;

std::weak_ptr<DataStoreController> DataStoreController::createDataStoreController() {
    if (!ref_ptr) {
        ref_ptr = std::make_shared<DataStoreController>();
    }
    return ref_ptr;
}

std::vector<std::pair<std::string, int>> DataStoreController::load(
    std::vector<DataStoreConfig> configs, std::vector<DataStoreConfig>& loaded) {
    return impl_->load_impl(std::move(configs), loaded);
}

std::vector<std::pair<std::string, int>> DataStoreController::open(
    std::vector<DataStoreConfig>& configs, std::vector<DataStoreInstance>& opened) {
    return impl_->open_impl(configs, opened);
}

int DataStoreController::control(std::weak_ptr<DataStoreExtension> target, unsigned short opcode,
                                 void const* in, void* out, void* extra) {
    return impl_->control_impl(std::move(target), opcode, in, out, extra);
}

std::vector<std::pair<std::string, int>> DataStoreController::close(
    std::vector<std::string> const& names) {
    return impl_->close_impl(names);
}

}  // namespace vexa::datastore
