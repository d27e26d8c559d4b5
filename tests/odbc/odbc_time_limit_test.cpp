// Time limits on ODBC instances: a call that waits on the server longer than
// the instance's limit (OP_SET_TIME_LIMIT, or "|timeout=" of the source
// parameters) fails saying it timed out, and the instance works on; a login
// to a server that never answers gives up within the timeout.
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>
#include <util/str.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using std::chrono::milliseconds;
using vexa::datastore::OP_QUERY_TABLE;
using vexa::datastore::OP_SET_TIME_LIMIT;
using vexa::datastore::Row;
using vexa::datastore::Table;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::provider_run;
using vexa::test::thrown_text;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;
constexpr char kTimedOutAfterOneSecond[] =
    "timed out: the call ran longer than its limit of 1000 ms";
// Far beyond any limit of these tests: a call that takes this long was not
// stopped at all.
constexpr milliseconds kHangGuard(5000);

// The time `action` takes.
template <typename Action>
milliseconds timed(Action action) {
    auto const start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

std::shared_ptr<vexa::datastore::interface> plugin_of(std::string const& name) {
    return std::dynamic_pointer_cast<vexa::datastore::interface>(vexa::test::extension_of(name));
}

int set_time_limit(std::string const& name, milliseconds limit) {
    return control(name, OP_SET_TIME_LIMIT, &limit, nullptr);
}

// A second session holding provider_datastore of `database` locked against
// every other session, until release() or destruction.
class TableLock {
  public:
    explicit TableLock(std::string database) : database_(std::move(database)) {
        holder_ = std::async(std::launch::async, [this] {
            // Ended by release(), which makes psql fail: that is expected.
            thrown_text([this] {
                vexa::test::psql(database_,
                                 "BEGIN; LOCK TABLE provider_datastore IN ACCESS EXCLUSIVE MODE; "
                                 "SELECT pg_sleep(60) AS vexa_lock_holder; COMMIT;");
            });
        });
        while (vexa::str::stripws(vexa::test::psql(
                   database_,
                   "SELECT count(*) FROM pg_locks l JOIN pg_class c ON c.oid = "
                   "l.relation WHERE c.relname = 'provider_datastore' AND l.mode = "
                   "'AccessExclusiveLock' AND l.granted;")) != "1") {
        }
    }
    ~TableLock() { release(); }
    TableLock(TableLock const&) = delete;
    TableLock& operator=(TableLock const&) = delete;

    void release() {
        if (holder_.valid()) {
            vexa::test::psql(database_,
                             "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE query "
                             "LIKE '%AS vexa_lock_holder%' AND pid <> pg_backend_pid();");
            holder_.get();
        }
    }

  private:
    std::string database_;
    std::future<void> holder_;
};

class OdbcTimeLimit : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }
};

TEST_F(OdbcTimeLimit, ALockedTableFailsLatestRowsAndInsertsInTimeThenTheyWorkAgain) {
    std::string const database = vexa::test::fresh_database();
    vexa::test::open_odbc("locked", vexa::test::pg_source(database));
    ASSERT_EQ(insert_run("locked", provider_run("p", "h", 1)), kOk);
    ASSERT_EQ(set_time_limit("locked", milliseconds(1000)), kOk);
    auto const plugin = plugin_of("locked");
    std::vector<Row> rows;
    {
        TableLock lock(database);
        std::string reason;
        milliseconds elapsed = timed([&] {
            reason = thrown_text([&] { plugin->get_latest_rows_provider({"p"}, rows, {}); });
        });
        EXPECT_EQ(reason, kTimedOutAfterOneSecond);
        EXPECT_GE(elapsed, milliseconds(1000));
        EXPECT_LT(elapsed, milliseconds(1000) + kHangGuard);
        vexa::datastore::InsertRequest const run = provider_run("p", "h", 2);
        elapsed = timed([&] {
            reason = thrown_text([&] {
                plugin->insert(run.header, run.option_id, run.stdout_text, run.stderr_text);
            });
        });
        EXPECT_EQ(reason, kTimedOutAfterOneSecond);
        EXPECT_GE(elapsed, milliseconds(1000));
        EXPECT_LT(elapsed, milliseconds(1000) + kHangGuard);
        EXPECT_EQ(insert_run("locked", provider_run("p", "h", 3)), kFailed);
    }
    rows.clear();
    EXPECT_TRUE(plugin->get_latest_rows_provider({"p"}, rows, {}));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Unique_timestamp, provider_run("p", "h", 1).header.Unique_timestamp);
    EXPECT_EQ(insert_run("locked", provider_run("p", "h", 4)), kOk);
    EXPECT_EQ(
        vexa::str::stripws(vexa::test::psql(database, "SELECT count(*) FROM provider_datastore;")),
        "2");
}

TEST_F(OdbcTimeLimit, ASleepingQueryFailsTimedOutThroughSelectAndQueryTable) {
    std::string const database = vexa::test::fresh_database();
    // The source parameters set the first limit; OP_SET_TIME_LIMIT changes it.
    vexa::test::open_odbc("sleepy", vexa::test::pg_source(database) + "|read_only=false|timeout=1");
    std::string const sql = "SELECT pg_sleep(5)";
    std::vector<Row> rows;
    std::string reason;
    milliseconds elapsed = timed([&] {
        reason = thrown_text(
            [&] { plugin_of("sleepy")->select(sql, rows, vexa::datastore::column_index_map); });
    });
    EXPECT_EQ(reason, kTimedOutAfterOneSecond);
    EXPECT_GE(elapsed, milliseconds(1000));
    EXPECT_LT(elapsed, milliseconds(1000) + kHangGuard);

    ASSERT_EQ(set_time_limit("sleepy", milliseconds(1500)), kOk);
    Table table;
    int result = kOk;
    {
        vexa::test::ScopedLogLevel const level(4);
        vexa::test::StderrCapture capture;
        elapsed = timed([&] { result = control("sleepy", OP_QUERY_TABLE, &sql, &table); });
        reason = capture.text();
    }
    EXPECT_EQ(result, kFailed);
    EXPECT_NE(reason.find("timed out: the call ran longer than its limit of 1500 ms\n"),
              std::string::npos)
        << reason;
    EXPECT_GE(elapsed, milliseconds(1500));
    EXPECT_LT(elapsed, milliseconds(1500) + kHangGuard);

    // The instance works on, and a limit of 0 lifts the limit.
    ASSERT_EQ(set_time_limit("sleepy", milliseconds(0)), kOk);
    std::string const short_sleep = "SELECT pg_sleep(1.2) AS slept";
    EXPECT_EQ(control("sleepy", OP_QUERY_TABLE, &short_sleep, &table), kOk);
    EXPECT_EQ(table.columns, std::vector<std::string>{"slept"});
}

TEST_F(OdbcTimeLimit, ATimeoutThatIsNotSecondsRefusesToOpen) {
    for (std::string const value : {"abc", "1.", ".5", "-1", "1e3", "1,5", ""}) {
        SCOPED_TRACE(value);
        vexa::test::ScopedLogLevel const level(4);
        vexa::test::StderrCapture capture;
        std::string const thrown = thrown_text(
            [&] { vexa::test::open_odbc("bad", "vexa_pg|read_only=false|timeout=" + value); });
        EXPECT_EQ(thrown, vexa::test::odbc_open_failed_text("bad"));
        EXPECT_EQ(capture.text(),
                  "odbc: timeout must be seconds such as 5 or 0.25, not \"" + value + "\"\n");
        vexa::datastore::DataStoreParseUtility::clear_db_vector();
    }
    vexa::test::ScopedLogLevel const level(4);
    vexa::test::StderrCapture capture;
    EXPECT_NE(
        thrown_text([&] { vexa::test::open_odbc("bad", "vexa_pg|timeout=1|read_only=true"); }), "");
    EXPECT_EQ(capture.text(),
              "odbc: malformed source parameters \"vexa_pg|timeout=1|read_only=true\"\n");
}

TEST_F(OdbcTimeLimit, ATimeoutAloneOrAfterReadOnlyOpens) {
    std::string const database = vexa::test::fresh_database();
    vexa::test::open_odbc("alone", vexa::test::pg_source(database) + "|timeout=0.25");
    vexa::test::open_odbc("both",
                          vexa::test::pg_source(database) + " | read_only=true | timeout=3");
    EXPECT_TRUE(vexa::test::extension_of("alone")->is_ready());
    EXPECT_EQ(vexa::test::extension_of("both")->describe().find("(read-only)") == std::string::npos,
              false);
}

// The server process of `name`'s connection.
pid_t server_process_of(std::string const& name) {
    std::string const sql = "SELECT pg_backend_pid() AS pid";
    Table table;
    if (control(name, OP_QUERY_TABLE, &sql, &table) != kOk || table.rows.size() != 1 ||
        !table.rows[0][0]) {
        throw std::runtime_error("no server process for " + name);
    }
    return std::stoi(*table.rows[0][0]);
}

// A server process stopped (SIGSTOP) until destruction, as by an operator
// or a machine that stopped scheduling it.
class StoppedServerProcess {
  public:
    explicit StoppedServerProcess(pid_t pid) : pid_(pid) {
        if (::kill(pid_, SIGSTOP) != 0) {
            throw std::runtime_error("cannot stop server process " + std::to_string(pid_));
        }
    }
    ~StoppedServerProcess() { resume(); }
    StoppedServerProcess(StoppedServerProcess const&) = delete;
    StoppedServerProcess& operator=(StoppedServerProcess const&) = delete;

    void resume() const { ::kill(pid_, SIGCONT); }

  private:
    pid_t pid_ = 0;
};

// The reason `call` failed with, and the time it took; a call still
// blocked after the hang guard fails the test, after resuming `stopped` so
// that it ends.
template <typename Call>
std::pair<std::string, milliseconds> bounded_call(StoppedServerProcess const& stopped, Call call) {
    auto const start = std::chrono::steady_clock::now();
    auto reason = std::async(std::launch::async, [&] { return thrown_text(call); });
    if (reason.wait_for(milliseconds(1000) + kHangGuard) != std::future_status::ready) {
        ADD_FAILURE() << "the call was still blocked after the hang guard";
        stopped.resume();
    }
    std::string const text = reason.get();
    return {text,
            std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start)};
}

TEST_F(OdbcTimeLimit, AStoppedServerProcessFailsReadsAndInsertsInTimeThenTheyWorkAgain) {
    std::string const database = vexa::test::fresh_database();
    vexa::test::open_odbc("stopped",
                          vexa::test::pg_source(database) + "|read_only=false|timeout=1");
    ASSERT_EQ(insert_run("stopped", provider_run("p", "h", 1)), kOk);
    auto const plugin = plugin_of("stopped");
    std::vector<Row> rows;
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        StoppedServerProcess const stopped(server_process_of("stopped"));
        auto const [reason, elapsed] =
            round == 0
                ? bounded_call(stopped, [&] { plugin->get_latest_rows_provider({"p"}, rows, {}); })
                : bounded_call(stopped, [&] {
                      vexa::datastore::InsertRequest const run = provider_run("p", "h", 2);
                      plugin->insert(run.header, run.option_id, run.stdout_text, run.stderr_text);
                  });
        EXPECT_EQ(reason, kTimedOutAfterOneSecond);
        EXPECT_GE(elapsed, milliseconds(1000));
    }
    // The next calls make a connection again, to a server process that runs.
    rows.clear();
    EXPECT_TRUE(plugin->get_latest_rows_provider({"p"}, rows, {}));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(insert_run("stopped", provider_run("p", "h", 3)), kOk);
    // The insert that timed out may still be stored: the server process
    // reads it once it runs again. Retrying it would store nothing twice.
    EXPECT_EQ(vexa::str::stripws(vexa::test::psql(
                  database,
                  "SELECT count(*) FROM provider_datastore WHERE Unique_timestamp IN (" +
                      std::to_string(provider_run("p", "h", 1).header.Unique_timestamp) + ", " +
                      std::to_string(provider_run("p", "h", 3).header.Unique_timestamp) + ");")),
              "2");
}

// Begins a batch of `runs` runs of `name`, stamped from `first` on.
void insert_batch_of(std::string const& name, int first, int runs) {
    ASSERT_EQ(control(name, vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (int run = first; run < first + runs; ++run) {
        ASSERT_EQ(insert_run(name, provider_run("p", "h", run)), kOk);
    }
}

TEST_F(OdbcTimeLimit, AStoppedServerProcessFailsABatchCommitInTimeAndARetryStoresItOnce) {
    std::string const database = vexa::test::fresh_database();
    vexa::test::open_odbc("batch", vexa::test::pg_source(database) + "|read_only=false|timeout=1");
    auto const stored = [&] {
        return vexa::str::stripws(
            vexa::test::psql(database, "SELECT count(*) FROM provider_datastore;"));
    };
    // The runs of the first batch wait in the plug-in until the commit sends
    // them; those of the second go to the server before it stops, so that
    // the commit alone waits on it.
    for (int const runs : {3, 300}) {
        SCOPED_TRACE(runs);
        pid_t const server_process = server_process_of("batch");
        insert_batch_of("batch", 1000, runs);
        int committed = kOk;
        std::string last_failure;
        {
            StoppedServerProcess const stopped(server_process);
            auto const [reason, elapsed] = bounded_call(stopped, [&] {
                committed = control("batch", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr);
                control("batch", vexa::datastore::OP_LAST_FAILURE, nullptr, &last_failure);
            });
            EXPECT_EQ(reason, "");
            EXPECT_GE(elapsed, milliseconds(1000));
        }
        EXPECT_EQ(committed, kFailed);
        EXPECT_EQ(last_failure, kTimedOutAfterOneSecond);
        if (runs == 3) {
            // Never committed: the server process rolls it back once it runs
            // and finds the connection gone.
            EXPECT_EQ(stored(), "0");
        }
    }
    // The commit that the server had received when it stopped may be stored
    // or not; the batch retried is stored once either way.
    insert_batch_of("batch", 1000, 300);
    EXPECT_EQ(control("batch", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    EXPECT_EQ(stored(), "300");
}

// A socket that takes connections and never says a word.
class SilentServer {
  public:
    SilentServer() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (socket_ < 0 || ::bind(socket_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            ::listen(socket_, 8) != 0 ||
            ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            throw std::runtime_error("cannot listen on the loopback interface");
        }
        port_ = std::to_string(ntohs(address.sin_port));
    }
    ~SilentServer() { ::close(socket_); }
    SilentServer(SilentServer const&) = delete;
    SilentServer& operator=(SilentServer const&) = delete;

    std::string const& port() const { return port_; }

  private:
    int socket_;
    std::string port_;
};

TEST_F(OdbcTimeLimit, ALoginToAServerThatNeverAnswersGivesUpWithinTheTimeout) {
    // An instance on the real server loads the plug-in and the driver first:
    // on a busy machine under the sanitizers, loading them alone can take
    // longer than the guard, and only the login is timed here.
    vexa::test::open_odbc("answering", vexa::test::pg_source(vexa::test::fresh_database()));
    SilentServer const server;
    vexa::test::ScopedLogLevel const level(4);
    vexa::test::StderrCapture capture;
    std::string thrown;
    milliseconds const elapsed = timed([&] {
        thrown = thrown_text([&] {
            vexa::test::open_odbc("silent", "DSN=vexa_pg;Port=" + server.port() + "|timeout=2");
        });
    });
    EXPECT_EQ(thrown, vexa::test::odbc_open_failed_text("silent"));
    EXPECT_LT(elapsed, milliseconds(2000) + kHangGuard);
    std::string const log = capture.text();
    EXPECT_EQ(
        log.rfind("odbc connection=DSN=vexa_pg;Port=" + server.port() + ": SQLDriverConnect: [", 0),
        0u)
        << log;
}

}  // namespace
