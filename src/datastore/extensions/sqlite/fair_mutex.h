// A lock handed to waiting threads in the order they asked for it.
#ifndef VEXA_SQLITE_PLUGIN_FAIR_MUTEX_H_
#define VEXA_SQLITE_PLUGIN_FAIR_MUTEX_H_

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace vexa::datastore::sqlite_plugin {

// A ticket lock: lock() waits until every thread that asked before it has
// had its turn. A thread that releases the lock and asks again at once (the
// pruning between its chunks) therefore queues behind the threads already
// waiting instead of taking the lock straight back, as std::mutex lets it.
// Not recursive. Meets BasicLockable, for std::lock_guard.
class FairMutex {
  public:
    void lock() {
        std::unique_lock<std::mutex> guard(mutex_);
        std::uint64_t const ticket = next_ticket_++;
        turn_.wait(guard, [&] { return serving_ == ticket; });
    }
    void unlock() {
        {
            std::lock_guard<std::mutex> const guard(mutex_);
            ++serving_;
        }
        turn_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable turn_;
    std::uint64_t next_ticket_ = 0;
    std::uint64_t serving_ = 0;
};

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_FAIR_MUTEX_H_
