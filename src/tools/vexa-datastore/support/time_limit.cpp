#include "support/time_limit.h"

#include <mutex>

#include <datastore/datastore.h>

namespace vexa::tool {

namespace {

std::chrono::seconds limit{0};

std::mutex waiting_mutex;
std::string waiting = "reading the configuration";

}  // namespace

void set_datastore_time_limit(std::chrono::seconds seconds) { limit = seconds; }

std::chrono::seconds datastore_time_limit() { return limit; }

void apply_datastore_time_limit(std::string const& name) {
    if (limit.count() == 0) {
        return;
    }
    std::chrono::milliseconds const milliseconds = limit;
    datastore::execute_ioctl({name}, datastore::OP_SET_TIME_LIMIT, &milliseconds, nullptr, nullptr,
                             nullptr);
}

void set_waiting_for(std::string what) {
    std::lock_guard<std::mutex> const lock(waiting_mutex);
    waiting = std::move(what);
}

std::string waiting_for() {
    std::lock_guard<std::mutex> const lock(waiting_mutex);
    return waiting;
}

}  // namespace vexa::tool
