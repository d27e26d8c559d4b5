// Why the calls of an instance failed, kept per thread, for OP_LAST_FAILURE.
#ifndef VEXA_PLUGIN_COMMON_LAST_FAILURE_H_
#define VEXA_PLUGIN_COMMON_LAST_FAILURE_H_

#include <cstdint>
#include <string>

namespace vexa::datastore::common {

// Notes `reason`, the back end's own words, as the cause of the call under
// way in the calling thread; LastFailure::end_call keeps it for the instance
// when the call fails. Plug-ins call it where they learn why a call fails,
// also where contract operations fail inside interface::control, which
// keeps its exceptions to itself. Never throws.
void note_failure(std::string const& reason) noexcept;

// The reason of the latest failed call of one instance, one per thread, so
// that a thread asking about its own call gets it whatever other threads
// did meanwhile. Thread safety: every member may run in any thread at once.
class LastFailure {
  public:
    // Takes a key no other instance of the process has had, so a reason is
    // never handed to a later instance at the same address.
    LastFailure();
    // Forgets the reason kept in the destroying thread.
    ~LastFailure();
    LastFailure(LastFailure const&) = delete;
    LastFailure& operator=(LastFailure const&) = delete;

    // Before a call: forgets what the calling thread noted so far.
    void begin_call() noexcept;
    // After a failed call: keeps what the calling thread noted during it,
    // or `fallback` when nothing was.
    void end_failed_call(std::string const& fallback) noexcept;
    // Keeps `reason` for the calling thread at once, for a failure outside
    // the calls that begin_call() opens, such as open_instance().
    void keep(std::string const& reason) noexcept;
    // The reason kept for the calling thread; "" when none of its calls failed.
    std::string reason() const;

  private:
    std::uint64_t const key_;
};

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_LAST_FAILURE_H_
