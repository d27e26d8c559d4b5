// The time limit of the check command. A datastore that accepts a
// connection and never answers would keep the monitoring system waiting on
// a call no plug-in limit reaches (a driver's connect, a hung server), so
// the check ends itself.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_CHECK_WATCHDOG_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_CHECK_WATCHDOG_H_

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace vexa::tool {

// From construction, a thread waits `limit`; unless the watchdog is
// destroyed first, it then prints the UNKNOWN status line naming what the
// check was waiting for (support/time_limit.h) and ends the process at once
// with exit status 3, wherever the other threads are.
class CheckWatchdog {
  public:
    explicit CheckWatchdog(std::chrono::seconds limit);
    ~CheckWatchdog();
    CheckWatchdog(CheckWatchdog const&) = delete;
    CheckWatchdog& operator=(CheckWatchdog const&) = delete;

  private:
    void watch(std::chrono::seconds limit);

    std::mutex mutex_;
    std::condition_variable disarmed_signal_;
    bool disarmed_ = false;
    std::thread thread_;
};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_CHECK_WATCHDOG_H_
