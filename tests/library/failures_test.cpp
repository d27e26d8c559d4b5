// The project's read functions that tell which datastores failed and why,
// beside the rows of those that answered, and the reason of an instance
// that did not open; over the steered test plug-in, whose reason= item is
// its answer to OP_LAST_FAILURE.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include <datastore/datastore.h>

#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DatastoreFailure;
using vexa::datastore::Row;
using vexa::test::register_steered;
using vexa::test::ScopedLogLevel;
using vexa::test::StderrCapture;

std::vector<std::string> providers_of(std::vector<Row> const& rows) {
    std::vector<std::string> names;
    for (auto const& row : rows) {
        names.push_back(row.Provider + "@" + row.datastore_source);
    }
    return names;
}

class FailuresTest : public vexa::test::RegistryTest {
  protected:
    std::vector<Row> rows;
    std::vector<DatastoreFailure> failures{{"stale entry", 9, "left from before"}};
};

TEST_F(FailuresTest, AFailedDatastoreIsListedWithItsReasonBesideTheOthersRows) {
    register_steered("good", "row=p/h/5");
    register_steered("broken", "code=1|reason=permission denied for view vexa_1");
    register_steered("also_good", "row=q/h/6");

    EXPECT_TRUE(vexa::datastore::select_data_with_failures(
        "SELECT * FROM vexa_1", rows, vexa::datastore::column_index_map, &failures));

    EXPECT_EQ(providers_of(rows), (std::vector<std::string>{"p@good", "q@also_good"}));
    EXPECT_EQ(vexa::test::described(failures),
              (std::vector<std::string>{"broken 1 permission denied for view vexa_1"}));
}

TEST_F(FailuresTest, EveryKindOfFailureHasItsEntryInRegistryOrder) {
    register_steered("silent", "code=1");
    register_steered("unsupported", "code=512");
    register_steered("odd", "code=7");
    register_steered("throwing", "throw=std");

    EXPECT_FALSE(vexa::datastore::select_provider_data_with_failures({"p"}, rows, "", &failures));

    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(vexa::test::described(failures),
              (std::vector<std::string>{"silent 1 its plug-in gave no reason",
                                        "unsupported 512 its plug-in does not serve the operation",
                                        "odd 7 its plug-in answered 7",
                                        "throwing 1 its plug-in let an exception out"}));
}

TEST_F(FailuresTest, NoFailureLeavesTheListEmpty) {
    register_steered("good", "row=p/h/5");
    EXPECT_TRUE(vexa::datastore::get_hosts_data_with_failures(
        rows, vexa::datastore::column_index_map, &failures));
    EXPECT_TRUE(failures.empty());
}

TEST_F(FailuresTest, LatestRowsAreReducedOverTheDatastoresThatAnswered) {
    register_steered("older", "row=p/h/5");
    register_steered("broken", "code=1|reason=connection reset");
    register_steered("newer", "row=p/h/9");

    EXPECT_TRUE(vexa::datastore::get_latest_rows_provider_hosts_data_with_failures({"p"}, rows, {},
                                                                                   &failures));

    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Unique_timestamp, 9);
    EXPECT_EQ(rows[0].datastore_source, "newer");
    EXPECT_EQ(vexa::test::described(failures),
              (std::vector<std::string>{"broken 1 connection reset"}));
}

TEST_F(FailuresTest, TheContractsLogLinesStayAsTheyAre) {
    register_steered("broken", "code=1|reason=disk on fire");
    ScopedLogLevel debug(7);
    StderrCapture err;
    vexa::datastore::get_hosts_data_with_failures(rows, vexa::datastore::column_index_map,
                                                  &failures);
    EXPECT_EQ(err.text(), "Generic querying of data failed for \"broken\"\n");
}

TEST_F(FailuresTest, QueryTableListsFailuresButLeavesUnsupportedApart) {
    register_steered("unsupported", "code=512");
    register_steered("broken", "code=1|reason=no such column: x");
    vexa::datastore::Table table;
    std::vector<std::string> unsupported;

    EXPECT_FALSE(
        vexa::datastore::select_table("SELECT x FROM vexa_1", table, &unsupported, &failures));

    EXPECT_EQ(unsupported, (std::vector<std::string>{"unsupported"}));
    EXPECT_EQ(vexa::test::described(failures),
              (std::vector<std::string>{"broken 1 no such column: x"}));
}

TEST_F(FailuresTest, PruneListsFailures) {
    register_steered("broken", "throw=other");
    std::vector<std::pair<std::string, std::uint64_t>> removed;
    EXPECT_FALSE(vexa::datastore::prune_rows({}, removed, nullptr, &failures));
    EXPECT_EQ(vexa::test::described(failures),
              (std::vector<std::string>{"broken 1 its plug-in let an exception out"}));
}

TEST_F(FailuresTest, AnEmptyQueryAsksNobodyAndClearsTheList) {
    register_steered("broken", "code=1");
    EXPECT_FALSE(vexa::datastore::select_data_with_failures("", rows, {}, &failures));
    EXPECT_TRUE(failures.empty());
}

TEST_F(FailuresTest, AnInstanceThatDidNotOpenKeepsThePluginsReason) {
    EXPECT_THROW(register_steered("unopened", "open=1|reason=the disk is gone"),
                 std::runtime_error);
    auto const failure = vexa::datastore::open_failure("unopened");
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(vexa::test::described({*failure}),
              (std::vector<std::string>{"unopened 1 the disk is gone"}));
}

TEST_F(FailuresTest, OpeningAgainForgetsTheEarlierOpenFailure) {
    EXPECT_THROW(register_steered("second_try", "open=1|reason=busy"), std::runtime_error);
    register_steered("second_try", "row=p/h/1");
    EXPECT_FALSE(vexa::datastore::open_failure("second_try").has_value());
}

TEST_F(FailuresTest, AnInstanceNeverOpenedHasNoOpenFailure) {
    EXPECT_FALSE(vexa::datastore::open_failure("never_configured").has_value());
}

}  // namespace
