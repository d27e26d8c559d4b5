// A time limit on one call of an ODBC instance, enforced by cancelling the
// statement the call is running when the limit passes.
#ifndef VEXA_ODBC_PLUGIN_CALL_DEADLINE_H_
#define VEXA_ODBC_PLUGIN_CALL_DEADLINE_H_

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sql.h>

namespace vexa::datastore::odbc_plugin {

// From construction to destruction, bounds the calling thread's call in
// time: a watchdog thread waits for the limit, then calls SQLCancel on the
// statement the call made last and has not freed yet (the driver's way of
// interrupting a statement from another thread; a pooler in front of the
// server forwards it). No session setting is changed, so nothing outlives
// the call. When the call still runs a moment later, its server does not
// answer at all (a stopped server process handles no cancel): the watchdog
// shuts down the connection's socket (see ServerSocket), and the call fails
// as a lost connection that the next call makes again. The watchdog is
// joined by the destructor.
//
// The statements are those new_statement() makes and a WatchedStatement
// names in the calling thread within the scope; a WatchedConnection names
// a connection whose own call (a commit) has no statement to cancel. A
// statement made after the limit passed (a rollback after the cancelled
// one) is never cancelled. Only the calling thread may use the object; the
// watchdog shares nothing else with it.
//
// A server whose postmaster is stopped too is beyond this: the cancel
// itself then waits on it.
class CallDeadline {
  public:
    // A zero `limit` bounds nothing and starts no thread.
    explicit CallDeadline(std::chrono::milliseconds limit);
    ~CallDeadline();
    CallDeadline(CallDeadline const&) = delete;
    CallDeadline& operator=(CallDeadline const&) = delete;

    // Whether the limit passed before the call ended.
    bool expired() const;
    // "timed out: the call ran longer than its limit of N ms".
    std::string timed_out_text() const;

    // `statement` of connection `dbc` begins (ends) to be one the calling
    // thread's deadline may cancel; nothing happens when no deadline bounds
    // the thread. A null `statement` watches the connection alone.
    static void watch(SQLHSTMT statement, SQLHDBC dbc);
    static void forget(SQLHSTMT statement);

  private:
    struct Watched {
        SQLHSTMT statement;
        SQLHDBC dbc;
    };

    void cancel_at_limit();

    std::chrono::milliseconds const limit_;
    CallDeadline* const outer_;  // the thread's deadline before this one
    mutable std::mutex mutex_;
    std::condition_variable ended_;
    bool call_ended_ = false;
    bool expired_ = false;
    std::vector<Watched> watched_;  // alive, in the order made
    std::thread watchdog_;
};

// Names a statement made before the call (a prepared one) as the one the
// call's deadline may cancel, from construction to destruction.
class WatchedStatement {
  public:
    WatchedStatement(SQLHSTMT statement, SQLHDBC dbc) : statement_(statement) {
        CallDeadline::watch(statement_, dbc);
    }
    ~WatchedStatement() { CallDeadline::forget(statement_); }
    WatchedStatement(WatchedStatement const&) = delete;
    WatchedStatement& operator=(WatchedStatement const&) = delete;

  private:
    SQLHSTMT statement_;
};

// Names connection `dbc` as the one whose socket the call's deadline may
// shut down, for a call of the connection itself, such as a commit.
class WatchedConnection {
  public:
    explicit WatchedConnection(SQLHDBC dbc) : watched_(SQL_NULL_HSTMT, dbc) {}

  private:
    WatchedStatement watched_;
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_CALL_DEADLINE_H_
