// The instance's time limit on a call: SQLite stops any statement of the
// call once the limit has passed.
#ifndef VEXA_SQLITE_PLUGIN_TIME_LIMIT_H_
#define VEXA_SQLITE_PLUGIN_TIME_LIMIT_H_

#include <chrono>
#include <exception>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

// Interrupts every statement run on `db` during its life once `limit` has
// passed since it was made (no limit when zero), through SQLite's progress
// handler, which it removes again. Statements interrupted so fail with
// SQLite's "interrupted" and leave the connection usable. Not thread-safe:
// one call of the connection at a time, under the extension's lock.
class CallTimer {
  public:
    CallTimer(::sqlite3* db, std::chrono::milliseconds limit);
    // The same for a call that started at `start`, before this step of it.
    CallTimer(::sqlite3* db, std::chrono::milliseconds limit,
              std::chrono::steady_clock::time_point start);
    ~CallTimer();
    CallTimer(CallTimer const&) = delete;
    CallTimer& operator=(CallTimer const&) = delete;

    // Whether a statement was interrupted because the limit had passed.
    bool expired() const { return expired_; }
    // "timed out: the call ran longer than its limit of 1000 ms".
    std::string reason() const;

  private:
    static int on_progress(void* timer) noexcept;

    ::sqlite3* db_;
    std::chrono::milliseconds limit_;
    std::chrono::steady_clock::time_point deadline_;
    bool expired_ = false;
};

// Runs `body` with a CallTimer on `db`; a failure caused by the limit
// throws std::runtime_error with the timer's reason instead of SQLite's text.
// `start` is when the call began, for a call of several steps.
template <typename Body>
auto within_time_limit(::sqlite3* db, std::chrono::milliseconds limit, Body body,
                       std::chrono::steady_clock::time_point start =
                           std::chrono::steady_clock::now()) -> decltype(body()) {
    CallTimer timer(db, limit, start);  // not const: the progress handler marks it expired
    try {
        return body();
    } catch (std::exception const&) {
        if (timer.expired()) {
            throw std::runtime_error(timer.reason());
        }
        throw;
    }
}

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_TIME_LIMIT_H_
