// failing_since() over real SQLite datastores and the steered test plug-in:
// the runs of one pair spread over several datastores give the answer one
// datastore holding them all would give.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DatastoreFailure;
using vexa::datastore::Row;
using Since = std::vector<std::optional<std::int64_t>>;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;

// A run of (cpu, n1, `option`) at `stamp`, passing or not; its Timestamp is
// 1000 + stamp.
vexa::datastore::InsertRequest run_at(std::int64_t stamp, bool passed,
                                      std::string const& option = "o") {
    vexa::datastore::InsertRequest run = vexa::test::provider_run("cpu", "n1", stamp, option);
    run.header.Unique_timestamp = stamp;
    run.header.Timestamp = 1000 + stamp;
    run.header.Exit_status = passed ? 0 : 2;
    return run;
}

// The latest row of that pair as the latest-row functions give it.
Row latest_row(std::int64_t stamp, bool passed, std::string const& option = "o") {
    Row row;
    row.Provider = "cpu";
    row.Hostname = "n1";
    row.OptionID = option;
    row.Unique_timestamp = stamp;
    row.Timestamp = 1000 + stamp;
    row.Exit_status = passed ? 0 : 2;
    return row;
}

class FailingSince : public vexa::test::RegistryTest {
  protected:
    // Registers SQLite datastore `name` holding `runs`, stored in this order.
    void sqlite_holding(std::string const& name,
                        std::vector<vexa::datastore::InsertRequest> const& runs) {
        vexa::test::open_sqlite(name, vexa::test::sqlite_params(dir_.file(name + ".db"), false));
        for (auto const& run : runs) {
            ASSERT_EQ(vexa::test::insert_run(name, run), kOk);
        }
    }

    vexa::test::TempDir dir_;
    Since since{std::nullopt, 7};  // replaced by every call
    std::vector<DatastoreFailure> failures{{"stale entry", 9, "left from before"}};
    std::vector<std::string> unsupported{"stale entry"};
};

TEST_F(FailingSince, RunsInterleavedOverTwoDatastoresCountWhereTheirStampsPutThem) {
    // The pass is in "a" (30); the first run after it is in "b" (40), which
    // alone stored nothing that passed and came before "a" could say so.
    sqlite_holding("a", {run_at(50, false), run_at(10, false), run_at(30, true)});
    sqlite_holding("b", {run_at(60, false), run_at(40, false), run_at(20, false)});
    EXPECT_TRUE(
        vexa::datastore::failing_since({latest_row(60, false)}, since, &failures, &unsupported));
    EXPECT_EQ(since, Since{1040});
    EXPECT_TRUE(failures.empty());
    EXPECT_TRUE(unsupported.empty());
}

TEST_F(FailingSince, APairThatNeverPassedFailsSinceItsFirstRunAnywhere) {
    sqlite_holding("a", {run_at(5, false), run_at(9, false)});
    sqlite_holding("b", {run_at(7, false), run_at(-3, false)});
    EXPECT_TRUE(vexa::datastore::failing_since({latest_row(9, false)}, since));
    EXPECT_EQ(since, Since{997});
}

TEST_F(FailingSince, APassSharingTheLatestStampLeavesTheLatestRowItself) {
    sqlite_holding("a", {run_at(10, false), run_at(4, true)});
    sqlite_holding("b", {run_at(10, true)});
    EXPECT_TRUE(vexa::datastore::failing_since({latest_row(10, false)}, since));
    EXPECT_EQ(since, Since{1010});
}

TEST_F(FailingSince, PassingRowsGiveNothingAndEachFailingRowItsOwnPair) {
    sqlite_holding("a", {run_at(1, false, "x"), run_at(2, true, "x"), run_at(3, false, "x"),
                         run_at(4, false, "x"), run_at(1, true, "y"), run_at(2, false, "y")});
    EXPECT_TRUE(vexa::datastore::failing_since(
        {latest_row(4, false, "x"), latest_row(5, true, "z"), latest_row(2, false, "y")}, since));
    EXPECT_EQ(since, (Since{1003, std::nullopt, 1002}));
}

TEST_F(FailingSince, UnsupportedAndFailingDatastoresAreListedBesideTheAnswer) {
    sqlite_holding("a", {run_at(1, true), run_at(2, false)});
    vexa::test::register_steered("old", "code=512");
    vexa::test::register_steered("broken", "code=1|reason=disk on fire");
    EXPECT_TRUE(
        vexa::datastore::failing_since({latest_row(2, false)}, since, &failures, &unsupported));
    EXPECT_EQ(since, Since{1002});
    EXPECT_EQ(unsupported, std::vector<std::string>{"old"});
    EXPECT_EQ(vexa::test::described(failures), std::vector<std::string>{"broken 1 disk on fire"});
}

TEST_F(FailingSince, NoDatastoreAnsweringLeavesTheFailingRowsWithout) {
    vexa::test::register_steered("old", "code=512");
    EXPECT_FALSE(
        vexa::datastore::failing_since({latest_row(2, false)}, since, &failures, &unsupported));
    EXPECT_EQ(since, Since{std::nullopt});
    EXPECT_EQ(unsupported, std::vector<std::string>{"old"});
}

TEST_F(FailingSince, NoFailingRowAsksNobody) {
    vexa::test::register_steered("broken", "code=1|reason=disk on fire");
    EXPECT_TRUE(
        vexa::datastore::failing_since({latest_row(2, true)}, since, &failures, &unsupported));
    EXPECT_EQ(since, Since{std::nullopt});
    EXPECT_TRUE(failures.empty());
    EXPECT_TRUE(unsupported.empty());
}

}  // namespace
