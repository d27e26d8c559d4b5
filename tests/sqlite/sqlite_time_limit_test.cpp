// The time limit of an SQLite instance (source parameter timeout=SECONDS or
// OP_SET_TIME_LIMIT): a call that runs longer fails saying it timed out, and
// the instance answers the next call as before.
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "steered_datastores.h"
#include "test_support.h"

namespace {

using std::chrono::milliseconds;
using vexa::datastore::DataStoreExtension;
using vexa::datastore::OP_PRUNE;
using vexa::datastore::OP_QUERY_TABLE;
using vexa::datastore::OP_SET_TIME_LIMIT;
using vexa::datastore::PruneRequest;
using vexa::datastore::Row;
using vexa::datastore::Table;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_failed_text;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::StderrCapture;
using vexa::test::thrown_text;

constexpr int kOk = DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = DataStoreExtension::OPERATION_UNSUCCESSFULL;
// A call of a 1 s limit that takes this long was not stopped at all.
constexpr double kHangGuardSeconds = 6.0;

// A query that never ends: it counts upwards for ever.
std::string const endless =
    "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x+1 FROM c) SELECT x FROM c";

// Seconds `call` took.
template <typename Call>
double seconds_of(Call call) {
    auto const start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class TimeLimit : public vexa::test::RegistryTest {
  protected:
    std::string params(std::string const& extra = "") const { return "source=" + file_ + extra; }
    std::string timed_out_reason() const {
        return "timed out: the call ran longer than its limit of 1000 ms\n";
    }

    vexa::test::ScopedLogLevel log_level_{4};
    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("limited.db");
};

TEST_F(TimeLimit, ASelectOverTheSourceTimeoutFailsAndTheNextSucceeds) {
    open_sqlite("limited", params("|timeout=1"));
    std::vector<Row> rows;
    StderrCapture err;

    double const seconds = seconds_of([&] {
        EXPECT_FALSE(
            vexa::datastore::select_data(endless, rows, vexa::datastore::column_index_map));
    });

    // Not a speed target: only a guard against a call that never returns,
    // wide enough for a machine busy with other work.
    EXPECT_LT(seconds, kHangGuardSeconds);
    EXPECT_EQ(err.text(), "sqlite3 " + file_ + ": " + timed_out_reason());
    rows.clear();
    EXPECT_TRUE(vexa::datastore::select_data("SELECT 1 AS num_nodes", rows,
                                             vexa::datastore::column_index_map));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].num_nodes, 1);
}

TEST_F(TimeLimit, ATableQueryOverTheSetLimitFailsAndTheNextSucceeds) {
    open_sqlite("limited", params());
    milliseconds const limit(1000);
    ASSERT_EQ(control("limited", OP_SET_TIME_LIMIT, &limit, nullptr), kOk);
    Table table;
    StderrCapture err;

    double const seconds = seconds_of(
        [&] { EXPECT_EQ(control("limited", OP_QUERY_TABLE, &endless, &table), kFailed); });

    EXPECT_LT(seconds, kHangGuardSeconds);
    EXPECT_EQ(err.text(), "Datastore \"limited\": " + timed_out_reason());
    std::string const count = "SELECT count(*) FROM vexa_1";
    ASSERT_EQ(control("limited", OP_QUERY_TABLE, &count, &table), kOk);
    EXPECT_EQ(table.rows.at(0).at(0), "0");
}

TEST_F(TimeLimit, ZeroLiftsTheLimitOfTheSourceParameters) {
    open_sqlite("limited", params("|timeout=0.2"));
    // About a second of work: over the source's limit, and fine without one.
    std::string const slow =
        "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x+1 FROM c LIMIT 3000000) "
        "SELECT count(*) FROM c";
    Table table;
    {
        StderrCapture err;
        EXPECT_EQ(control("limited", OP_QUERY_TABLE, &slow, &table), kFailed);
        EXPECT_EQ(
            err.text(),
            "Datastore \"limited\": timed out: the call ran longer than its limit of 200 ms\n");
    }

    milliseconds const none(0);
    ASSERT_EQ(control("limited", OP_SET_TIME_LIMIT, &none, nullptr), kOk);

    ASSERT_EQ(control("limited", OP_QUERY_TABLE, &slow, &table), kOk);
    EXPECT_EQ(table.rows.at(0).at(0), "3000000");
}

TEST_F(TimeLimit, APruneOverTheLimitStopsAndTheNextSucceeds) {
    open_sqlite("limited", params());
    ASSERT_EQ(control("limited", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (int i = 0; i < 20'000; ++i) {
        ASSERT_EQ(insert_run("limited", provider_run("p", "h" + std::to_string(i % 50), i)), kOk);
    }
    ASSERT_EQ(control("limited", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    PruneRequest request;
    request.older_than = std::numeric_limits<std::int64_t>::max();
    std::uint64_t removed = 0;
    milliseconds const limit(1);  // less than one chunk of 1,000 rows takes
    ASSERT_EQ(control("limited", OP_SET_TIME_LIMIT, &limit, nullptr), kOk);
    {
        StderrCapture err;
        EXPECT_EQ(control("limited", OP_PRUNE, &request, &removed), kFailed);
        EXPECT_EQ(err.text(),
                  "Datastore \"limited\": timed out: the call ran longer than its limit of 1 ms\n");
    }

    milliseconds const none(0);
    ASSERT_EQ(control("limited", OP_SET_TIME_LIMIT, &none, nullptr), kOk);

    ASSERT_EQ(control("limited", OP_PRUNE, &request, &removed), kOk);
    EXPECT_GT(removed, 0u);
    EXPECT_EQ(PlainConnection(file_).rows("SELECT count(*) FROM provider_datastore;"),
              std::vector<std::string>{"0"});
}

TEST_F(TimeLimit, ATimeoutThatIsNotANumberOfSecondsIsRefused) {
    for (std::string const value : {"-1", "1s", "abc", "1e3", ".5", "1."}) {
        StderrCapture err;
        EXPECT_EQ(thrown_text([&] { open_sqlite("refused", params("|timeout=" + value)); }),
                  open_failed_text("refused"));
        EXPECT_EQ(err.text(),
                  "sqlite3: timeout must be seconds such as 5 or 0.25, not \"" + value + "\"\n");
    }
    EXPECT_FALSE(vexa::test::exists(file_));
}

}  // namespace
