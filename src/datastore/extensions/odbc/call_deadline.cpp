#include "call_deadline.h"

#include <algorithm>

#include <sqlext.h>

namespace vexa::datastore::odbc_plugin {

namespace {

// The deadline bounding the running call of this thread, if any.
thread_local CallDeadline* current_deadline = nullptr;

}  // namespace

CallDeadline::CallDeadline(std::chrono::milliseconds limit)
    : limit_(limit), outer_(current_deadline) {
    current_deadline = this;
    if (limit_ > std::chrono::milliseconds::zero()) {
        watchdog_ = std::thread([this] { cancel_at_limit(); });
    }
}

CallDeadline::~CallDeadline() {
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        call_ended_ = true;
    }
    ended_.notify_one();
    if (watchdog_.joinable()) {
        watchdog_.join();
    }
    current_deadline = outer_;
}

bool CallDeadline::expired() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return expired_;
}

std::string CallDeadline::timed_out_text() const {
    return "timed out: the call ran longer than its limit of " + std::to_string(limit_.count()) +
           " ms";
}

void CallDeadline::watch(SQLHSTMT statement) {
    CallDeadline* const deadline = current_deadline;
    if (deadline == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> const lock(deadline->mutex_);
    if (!deadline->expired_) {
        deadline->statements_.push_back(statement);
    }
}

void CallDeadline::forget(SQLHSTMT statement) {
    CallDeadline* const deadline = current_deadline;
    if (deadline == nullptr) {
        return;
    }
    // Under the lock, so that the watchdog never cancels a freed handle.
    std::lock_guard<std::mutex> const lock(deadline->mutex_);
    auto& statements = deadline->statements_;
    statements.erase(std::remove(statements.begin(), statements.end(), statement),
                     statements.end());
}

void CallDeadline::cancel_at_limit() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (ended_.wait_for(lock, limit_, [this] { return call_ended_; })) {
        return;
    }
    expired_ = true;
    if (!statements_.empty()) {
        SQLCancel(statements_.back());
    }
    statements_.clear();
}

}  // namespace vexa::datastore::odbc_plugin
