#include "call_deadline.h"

#include <algorithm>
#include <optional>

#include <sqlext.h>

#include "server_socket.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// The deadline bounding the running call of this thread, if any.
thread_local CallDeadline* current_deadline = nullptr;

// How long a cancelled call may take to end before its server is taken for
// one that does not answer at all.
constexpr std::chrono::milliseconds cancel_grace(500);

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

void CallDeadline::watch(SQLHSTMT statement, SQLHDBC dbc) {
    CallDeadline* const deadline = current_deadline;
    if (deadline == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> const lock(deadline->mutex_);
    if (!deadline->expired_) {
        deadline->watched_.push_back(Watched{statement, dbc});
    }
}

void CallDeadline::forget(SQLHSTMT statement) {
    CallDeadline* const deadline = current_deadline;
    if (deadline == nullptr) {
        return;
    }
    // Under the lock, so that the watchdog never cancels a freed handle.
    std::lock_guard<std::mutex> const lock(deadline->mutex_);
    auto& watched = deadline->watched_;
    watched.erase(
        std::remove_if(watched.begin(), watched.end(),
                       [statement](Watched const& one) { return one.statement == statement; }),
        watched.end());
}

void CallDeadline::cancel_at_limit() {
    std::unique_lock<std::mutex> lock(mutex_);
    auto const ended = [this] { return call_ended_; };
    if (ended_.wait_for(lock, limit_, ended)) {
        return;
    }
    expired_ = true;
    if (watched_.empty()) {
        return;
    }
    Watched const last = watched_.back();
    watched_.clear();
    std::optional<ServerSocket> const socket = server_socket_of(last.dbc);
    if (last.statement != SQL_NULL_HSTMT) {
        SQLCancel(last.statement);
        if (!socket || ended_.wait_for(lock, cancel_grace, ended)) {
            return;
        }
    }
    if (socket) {
        shut_down_server_socket(last.dbc, *socket);
    }
}

}  // namespace vexa::datastore::odbc_plugin
