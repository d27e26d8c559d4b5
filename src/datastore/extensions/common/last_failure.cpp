#include "last_failure.h"

#include <atomic>
#include <unordered_map>

namespace vexa::datastore::common {

namespace {

std::atomic<std::uint64_t> next_key{1};

struct ThreadFailures {
    std::string noted;                                    // during the call under way
    std::unordered_map<std::uint64_t, std::string> kept;  // by instance key
};

// The pointer and the flag have no destructor, so an instance destroyed
// after its thread's state (static data released at exit) finds it gone
// instead of touching a destroyed object.
thread_local ThreadFailures* current = nullptr;
thread_local bool finished = false;

struct ThreadFailuresOwner {
    ThreadFailures failures;
    ~ThreadFailuresOwner() {
        current = nullptr;
        finished = true;
    }
};

// The calling thread's state; null once it is gone.
ThreadFailures* thread_failures() {
    if (current == nullptr && !finished) {
        thread_local ThreadFailuresOwner owner;
        current = &owner.failures;
    }
    return current;
}

}  // namespace

void note_failure(std::string const& reason) noexcept {
    if (ThreadFailures* failures = thread_failures()) {
        try {
            failures->noted = reason;
        } catch (...) {
            failures->noted.clear();  // out of memory: the fallback beats half a reason
        }
    }
}

LastFailure::LastFailure() : key_(next_key.fetch_add(1)) {}

LastFailure::~LastFailure() {
    if (ThreadFailures* failures = thread_failures()) {
        failures->kept.erase(key_);
    }
}

void LastFailure::begin_call() noexcept {
    if (ThreadFailures* failures = thread_failures()) {
        failures->noted.clear();
    }
}

void LastFailure::end_failed_call(std::string const& fallback) noexcept {
    ThreadFailures* failures = thread_failures();
    if (failures == nullptr) {
        return;
    }
    std::string noted;
    noted.swap(failures->noted);
    keep(noted.empty() ? fallback : noted);
}

void LastFailure::keep(std::string const& reason) noexcept {
    ThreadFailures* failures = thread_failures();
    if (failures == nullptr) {
        return;
    }
    try {
        failures->kept[key_] = reason;
    } catch (...) {
        failures->kept.erase(key_);  // out of memory: no reason rather than an older one
    }
}

std::string LastFailure::reason() const {
    ThreadFailures const* failures = thread_failures();
    if (failures == nullptr) {
        return "";
    }
    auto const found = failures->kept.find(key_);
    return found == failures->kept.end() ? "" : found->second;
}

}  // namespace vexa::datastore::common
