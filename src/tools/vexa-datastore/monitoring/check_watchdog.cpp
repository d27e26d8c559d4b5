#include "monitoring/check_watchdog.h"

#include <unistd.h>

#include <string>

#include "monitoring/check_status.h"
#include "support/time_limit.h"

namespace vexa::tool {

CheckWatchdog::CheckWatchdog(std::chrono::seconds limit)
    : thread_([this, limit] { watch(limit); }) {}

CheckWatchdog::~CheckWatchdog() {
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        disarmed_ = true;
    }
    disarmed_signal_.notify_one();
    thread_.join();
}

void CheckWatchdog::watch(std::chrono::seconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (disarmed_signal_.wait_for(lock, limit, [this] { return disarmed_; })) {
        return;
    }
    std::string const line = unknown_line("no answer within " + std::to_string(limit.count()) +
                                          " s while " + waiting_for()) +
                             "\n";
    // The main thread may hold any lock, the output stream's too: write the
    // line directly and leave without running anything more.
    // Nothing more can be done about a failed write: the status is the answer.
    [[maybe_unused]] ssize_t const written = write(STDOUT_FILENO, line.data(), line.size());
    _exit(check_unknown);
}

}  // namespace vexa::tool
