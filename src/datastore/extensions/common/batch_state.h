// Where the batch of the project's own operations on one connection stands.
#ifndef VEXA_PLUGIN_COMMON_BATCH_STATE_H_
#define VEXA_PLUGIN_COMMON_BATCH_STATE_H_

namespace vexa::datastore::common {

// None, running (begun: the inserts since are one transaction) or failed
// (rolled back: nothing more goes into it until it ends). A plug-in's batch
// derives from it and moves it along. Not thread-safe: the extension holds
// its lock around every call.
class BatchState {
  public:
    // Whether a batch was begun and not yet ended, failed or not.
    bool is_open() const { return state_ != State::none; }
    // Whether the open batch was rolled back after a failure.
    bool has_failed() const { return state_ == State::failed; }
    // Whether a batch is open and has not failed.
    bool is_running() const { return state_ == State::running; }

  protected:
    void mark_running() { state_ = State::running; }
    void mark_failed() { state_ = State::failed; }
    void mark_ended() { state_ = State::none; }

  private:
    enum class State { none, running, failed };
    State state_ = State::none;
};

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_BATCH_STATE_H_
