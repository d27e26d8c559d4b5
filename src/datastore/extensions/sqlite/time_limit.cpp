#include "time_limit.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// Virtual machine steps between two looks at the clock: a few microseconds
// of work, so a statement overruns its limit by no more than that.
constexpr int steps_between_checks = 1000;

}  // namespace

CallTimer::CallTimer(::sqlite3* db, std::chrono::milliseconds limit)
    : CallTimer(db, limit, std::chrono::steady_clock::now()) {}

CallTimer::CallTimer(::sqlite3* db, std::chrono::milliseconds limit,
                     std::chrono::steady_clock::time_point start)
    : db_(db), limit_(limit), deadline_(start + limit) {
    if (db_ != nullptr && limit_ > std::chrono::milliseconds::zero()) {
        sqlite3_progress_handler(db_, steps_between_checks, &CallTimer::on_progress, this);
    }
}

CallTimer::~CallTimer() {
    if (db_ != nullptr && limit_ > std::chrono::milliseconds::zero()) {
        sqlite3_progress_handler(db_, 0, nullptr, nullptr);
    }
}

std::string CallTimer::reason() const {
    return "timed out: the call ran longer than its limit of " + std::to_string(limit_.count()) +
           " ms";
}

int CallTimer::on_progress(void* timer) noexcept {
    auto* const self = static_cast<CallTimer*>(timer);
    if (std::chrono::steady_clock::now() >= self->deadline_) {
        self->expired_ = true;
    }
    return self->expired_ ? 1 : 0;
}

}  // namespace vexa::datastore::sqlite_plugin
