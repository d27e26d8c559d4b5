// Eight threads sharing ONE ODBC instance on the test run's PostgreSQL
// server (reads, inserts, batches, latest rows, hosts) while a ninth ends
// the instance's server session now and then, so that the instance connects
// again under the others' calls. Every call either succeeds or fails
// cleanly, and the instance answers afterwards. Under the ThreadSanitizer
// build (-DVEXA_TSAN=ON) the same test proves that no data race happens on
// the way, reconnections included.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::datastore::OP_GET_LATEST_ROWS;
using vexa::datastore::OP_SELECT_HOSTS;
using vexa::datastore::ReadParameters;
using vexa::datastore::Row;
using vexa::datastore::SQLParameters;
using vexa::test::control;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;
constexpr int kThreads = 8;
constexpr int kCallsPerThread = 60;
constexpr int kSessionEnds = 3;

// Results that are neither success nor failure, and rows that no call could
// have given: counted, so that a failing run reports totals.
struct Oddities {
    std::atomic<int> results{0};
    std::atomic<int> rows{0};
};

void expect_result(int result, Oddities& oddities) {
    if (result != kOk && result != kFailed) {
        ++oddities.results;
    }
}

void use_instance(int thread, Oddities& oddities) {
    std::string const provider = "p" + std::to_string(thread);
    for (int call = 0; call < kCallsPerThread; ++call) {
        std::string const host = "h" + std::to_string(call % 3);
        std::int64_t const stamp = thread * 1000 + call;
        std::vector<Row> rows;
        SQLParameters sql;
        sql.fields = vexa::datastore::column_index_map;
        ReadParameters parameters;
        parameters.sql = &sql;
        switch (call % 5) {
            case 0:
                expect_result(vexa::test::insert_run(
                                  "shared", vexa::test::provider_run("uname", host, stamp)),
                              oddities);
                break;
            case 1:
                expect_result(vexa::test::insert_run(
                                  "shared", vexa::test::provider_run(provider, host, stamp)),
                              oddities);
                break;
            case 2:
                expect_result(
                    vexa::test::select_query(
                        "shared", "SELECT * FROM vexa_1 WHERE Provider = '" + provider + "'", rows),
                    oddities);
                for (Row const& row : rows) {
                    oddities.rows += row.Provider == provider ? 0 : 1;
                }
                break;
            case 3:
                parameters.providers = {provider};
                expect_result(control("shared", OP_GET_LATEST_ROWS, &parameters, &rows), oddities);
                for (Row const& row : rows) {
                    oddities.rows += row.Provider == provider ? 0 : 1;
                }
                break;
            default:
                expect_result(control("shared", OP_SELECT_HOSTS, &parameters, &rows), oddities);
                for (Row const& row : rows) {
                    oddities.rows += row.Provider == "uname" ? 0 : 1;
                }
                // A batch of its own or, when another thread's is open, a
                // part of that one.
                if (control("shared", OP_BEGIN_BATCH, nullptr, nullptr) == kOk) {
                    vexa::test::insert_run("shared",
                                           vexa::test::provider_run(provider, "batch", stamp));
                    expect_result(control("shared", OP_COMMIT_BATCH, nullptr, nullptr), oddities);
                }
                break;
        }
    }
}

TEST(OdbcConcurrentUse, EightThreadsShareOneInstanceWhileItsSessionIsEnded) {
    std::string const database = vexa::test::fresh_database();
    vexa::test::open_odbc("shared", vexa::test::pg_source(database));
    Oddities oddities;
    std::atomic<int> running{kThreads};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            use_instance(thread, oddities);
            --running;
        });
    }
    std::string const end_session =
        "SELECT count(pg_terminate_backend(pid)) FROM pg_stat_activity WHERE datname = '" +
        database + "';";
    int ended = 0;
    while (running > 0 && ended < kSessionEnds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        ended += vexa::test::psql("postgres", end_session) == "1\n" ? 1 : 0;
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GT(ended, 0) << "the threads were done before a session could be ended";
    EXPECT_EQ(oddities.results, 0);
    EXPECT_EQ(oddities.rows, 0);

    // The instance answers again, and holds what it said it stored. A session
    // ended after the last thread's call is met by the next call, which fails
    // as any call meeting a lost connection does; the one after reconnects.
    std::vector<Row> ignored;
    vexa::test::select_query("shared", "SELECT 1", ignored);
    std::vector<Row> rows;
    ASSERT_EQ(vexa::test::insert_run("shared", vexa::test::provider_run("last", "h", 1)), kOk);
    ASSERT_EQ(
        vexa::test::select_query("shared", "SELECT * FROM vexa_1 WHERE Provider = 'last'", rows),
        kOk);
    EXPECT_EQ(rows.size(), 1u);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
}

}  // namespace
