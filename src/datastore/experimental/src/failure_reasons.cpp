#include "failure_reasons.h"

#include <mutex>
#include <unordered_map>
#include <utility>

#include <datastore/operations.h>

#include "operation_messages.h"

namespace vexa::datastore::detail {

namespace {

std::string reason_for(std::weak_ptr<DataStoreExtension> const& handle, int result) {
    if (result == DataStoreExtension::UNSUPPORTED_OPERATION) {
        return "its plug-in does not serve the operation";
    }
    if (result != DataStoreExtension::OPERATION_UNSUCCESSFULL) {
        return "its plug-in answered " + std::to_string(result);
    }
    std::string reason;
    if (std::shared_ptr<DataStoreExtension> const extension = handle.lock()) {
        reason = last_failure_of(*extension);
    } else {
        return "the instance is closed";
    }
    return reason.empty() ? "its plug-in gave no reason" : reason;
}

// Open failures by instance name; open() and open_failure() may run in
// different threads.
std::mutex open_failures_mutex;
std::unordered_map<std::string, DatastoreFailure> open_failures;

}  // namespace

std::string last_failure_of(DataStoreExtension& extension) noexcept {
    try {
        std::string reason;
        if (extension.control(OP_LAST_FAILURE, nullptr, &reason, nullptr) ==
            DataStoreExtension::OPERATION_SUCCESSFULL) {
            return reason;
        }
    } catch (...) {
        // A plug-in that throws here has no reason to give.
    }
    return "";
}

void add_failure(std::vector<DatastoreFailure>* failures, std::string const& name,
                 std::weak_ptr<DataStoreExtension> const& extension, int result) noexcept {
    if (failures == nullptr) {
        return;
    }
    try {
        failures->push_back({name, result, reason_for(extension, result)});
    } catch (...) {
        // Out of memory: the rows still answer; only this entry is lost.
    }
}

void add_thrown(std::vector<DatastoreFailure>* failures, std::string const& name) noexcept {
    if (failures == nullptr) {
        return;
    }
    try {
        failures->push_back({name, DataStoreExtension::OPERATION_UNSUCCESSFULL,
                             "its plug-in let an exception out"});
    } catch (...) {
    }
}

void remember_open_result(std::string const& name, std::optional<DatastoreFailure> failure) {
    std::lock_guard<std::mutex> const lock(open_failures_mutex);
    if (failure) {
        open_failures[name] = std::move(*failure);
    } else {
        open_failures.erase(name);
    }
}

bool control_and_file(DataStoreController& controller, std::string const& name,
                      std::weak_ptr<DataStoreExtension> const& handle, unsigned short opcode,
                      void const* in, void* out, std::vector<DatastoreFailure>* failures,
                      std::vector<std::string>* unsupported) {
    int result = DataStoreExtension::OPERATION_UNSUCCESSFULL;
    bool threw = false;
    try {
        result = controller.control(handle, opcode, in, out, nullptr);
    } catch (...) {
        // A plug-in that lets an exception out has failed, like one that says so.
        threw = true;
    }
    log_operation_result(result, opcode, name);
    if (result == DataStoreExtension::UNSUPPORTED_OPERATION) {
        if (unsupported != nullptr) {
            unsupported->push_back(name);
        }
    } else if (threw) {
        add_thrown(failures, name);
    } else if (result != DataStoreExtension::OPERATION_SUCCESSFULL) {
        add_failure(failures, name, handle, result);
    }
    return result == DataStoreExtension::OPERATION_SUCCESSFULL && !threw;
}

}  // namespace vexa::datastore::detail

namespace vexa::datastore {

std::optional<DatastoreFailure> open_failure(std::string const& instance_name) {
    std::lock_guard<std::mutex> const lock(detail::open_failures_mutex);
    auto const found = detail::open_failures.find(instance_name);
    if (found == detail::open_failures.end()) {
        return std::nullopt;
    }
    return found->second;
}

}  // namespace vexa::datastore
