#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "recording_extension.h"
#include "test_support.h"

namespace {

using vexa::datastore::interface;
using vexa::datastore::Row;
using vexa::test::RecordingExtension;
using vexa::test::row_of;

using Strings = std::vector<std::string>;

using vexa::test::runtime_error_of;

// --- generate_where_clause ---

TEST(GenerateWhereClause, TrimsAndQuotesEveryValueIntoAnInList) {
    std::string where;
    EXPECT_TRUE(interface::generate_where_clause({" a", "b "}, "Provider", where));
    EXPECT_EQ(" (Provider IN ('a','b') )", where);
}

TEST(GenerateWhereClause, SingleValueHasNoComma) {
    std::string where;
    EXPECT_TRUE(interface::generate_where_clause({"n1"}, "Hostname", where));
    EXPECT_EQ(" (Hostname IN ('n1') )", where);
}

TEST(GenerateWhereClause, JoinsToExistingTextWithAndAndTwoBlanks) {
    std::string where = " (Hostname = 'n1')";
    EXPECT_TRUE(interface::generate_where_clause({"p1", "p2"}, "Provider", where));
    EXPECT_EQ(" (Hostname = 'n1') AND  (Provider IN ('p1','p2') )", where);
}

TEST(GenerateWhereClause, EmptyListReturnsFalseAndLeavesWhereAsItWas) {
    std::string empty;
    EXPECT_FALSE(interface::generate_where_clause({}, "Provider", empty));
    EXPECT_EQ("", empty);

    std::string filled = " (Provider IN ('p1') )";
    EXPECT_FALSE(interface::generate_where_clause({}, "Hostname", filled));
    EXPECT_EQ(" (Provider IN ('p1') )", filled);
}

TEST(GenerateWhereClause, EmptyColumnReturnsFalseAndLeavesWhereAsItWas) {
    std::string where = "x";
    EXPECT_FALSE(interface::generate_where_clause({"p1"}, "", where));
    EXPECT_EQ("x", where);
}

TEST(GenerateWhereClause, BlankValueThrowsNamingTheColumnAndLeavesWhereAsItWas) {
    std::string where = "x";
    EXPECT_EQ("Invalid parameters to where query for Provider", runtime_error_of([&] {
                  interface::generate_where_clause({"p1", " \t\n"}, "Provider", where);
              }));
    EXPECT_EQ("x", where);
    EXPECT_EQ("Invalid parameters to where query for Hostname",
              runtime_error_of([&] { interface::generate_where_clause({""}, "Hostname", where); }));
    EXPECT_EQ("x", where);
}

TEST(GenerateWhereClause, SingleQuoteInAValueIsInsertedUnchanged) {
    std::string where;
    EXPECT_TRUE(interface::generate_where_clause({"o'brien"}, "Hostname", where));
    EXPECT_EQ(" (Hostname IN ('o'brien') )", where);
}

// --- select_provider ---

TEST(SelectProvider, ComposesTheProviderQueryWithoutSemicolon) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_TRUE(extension.select_provider({"p1", "p2"}, out, ""));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ("SELECT * FROM vexa_1 WHERE (Provider IN ('p1','p2') )", extension.queries[0]);
    EXPECT_EQ(vexa::datastore::column_index_map, extension.field_maps[0]);
}

TEST(SelectProvider, PutsTheConditionFirstInParentheses) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_TRUE(extension.select_provider({"p1", "p2"}, out, "Hostname = 'n1'"));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ("SELECT * FROM vexa_1 WHERE (Hostname = 'n1') AND  (Provider IN ('p1','p2') )",
              extension.queries[0]);
}

TEST(SelectProvider, TrimsProviderNamesBeforeQuoting) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_TRUE(extension.select_provider({"  p1\t"}, out, ""));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ("SELECT * FROM vexa_1 WHERE (Provider IN ('p1') )", extension.queries[0]);
}

TEST(SelectProvider, AppendsToOutWithoutClearingIt) {
    RecordingExtension extension;
    extension.canned_rows = {row_of("p1")};
    std::vector<Row> out = {row_of("earlier")};
    EXPECT_TRUE(extension.select_provider({"p1"}, out, ""));
    ASSERT_EQ(2u, out.size());
    EXPECT_EQ("earlier", out[0].Provider);
    EXPECT_EQ("p1", out[1].Provider);
}

TEST(SelectProvider, DoesNotAskWhetherTheInstanceIsReady) {
    RecordingExtension extension;
    extension.ready = false;
    std::vector<Row> out;
    EXPECT_TRUE(extension.select_provider({"p1"}, out, ""));
    EXPECT_EQ(0, extension.readiness_checks);
    EXPECT_EQ(1u, extension.queries.size());
}

TEST(SelectProvider, EmptyProviderListReturnsFalseAndLeavesOutUntouched) {
    RecordingExtension extension;
    std::vector<Row> out = {row_of("earlier")};
    EXPECT_FALSE(extension.select_provider({}, out, "Hostname = 'n1'"));
    EXPECT_TRUE(extension.queries.empty());
    ASSERT_EQ(1u, out.size());
    EXPECT_EQ("earlier", out[0].Provider);
}

TEST(SelectProvider, BlankProviderNameThrows) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_EQ("Invalid parameters to where query for Provider",
              runtime_error_of([&] { extension.select_provider({"   "}, out, ""); }));
    EXPECT_TRUE(extension.queries.empty());
}

TEST(SelectProvider, ReturnsWhatSelectReturns) {
    RecordingExtension extension;
    extension.select_result = false;
    std::vector<Row> out;
    EXPECT_FALSE(extension.select_provider({"p1"}, out, ""));
    EXPECT_EQ(1u, extension.queries.size());
}

// --- get_latest_rows_provider ---

TEST(GetLatestRowsProvider, ComposesTheGroupedQueryWithProvidersAndHosts) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_TRUE(extension.get_latest_rows_provider({"p1"}, out, {"n1", "n2"}));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ(
        "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE (Provider IN ('p1') ) AND  (Hostname "
        "IN ('n1','n2') )GROUP BY OptionID, Hostname, Provider;",
        extension.queries[0]);
    EXPECT_EQ(vexa::datastore::column_index_map, extension.field_maps[0]);
}

TEST(GetLatestRowsProvider, EmptyHostListLeavesTheHostFilterOut) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_TRUE(extension.get_latest_rows_provider({"p1", "p2"}, out, {}));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ(
        "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE (Provider IN ('p1','p2') )GROUP BY "
        "OptionID, Hostname, Provider;",
        extension.queries[0]);
}

TEST(GetLatestRowsProvider, ReplacesTheRowsInOut) {
    RecordingExtension extension;
    extension.canned_rows = {row_of("p1")};
    std::vector<Row> out = {row_of("earlier"), row_of("earlier")};
    EXPECT_TRUE(extension.get_latest_rows_provider({"p1"}, out, {}));
    ASSERT_EQ(1u, out.size());
    EXPECT_EQ("p1", out[0].Provider);
}

TEST(GetLatestRowsProvider, InstanceNotReadyReturnsFalseBeforeTouchingOut) {
    RecordingExtension extension;
    extension.ready = false;
    std::vector<Row> out = {row_of("earlier")};
    EXPECT_FALSE(extension.get_latest_rows_provider({"p1"}, out, {}));
    EXPECT_EQ(1, extension.readiness_checks);
    EXPECT_TRUE(extension.queries.empty());
    EXPECT_EQ(1u, out.size());
}

TEST(GetLatestRowsProvider, EmptyProviderListReturnsFalseWithOutCleared) {
    RecordingExtension extension;
    std::vector<Row> out = {row_of("earlier")};
    EXPECT_FALSE(extension.get_latest_rows_provider({}, out, {"n1"}));
    EXPECT_TRUE(extension.queries.empty());
    EXPECT_TRUE(out.empty());
}

TEST(GetLatestRowsProvider, BlankHostNameThrowsThoughTheProvidersAreFine) {
    RecordingExtension extension;
    std::vector<Row> out = {row_of("earlier")};
    EXPECT_EQ("Invalid parameters to where query for Hostname",
              runtime_error_of([&] { extension.get_latest_rows_provider({"p1"}, out, {" "}); }));
    EXPECT_TRUE(extension.queries.empty());
    EXPECT_TRUE(out.empty());
}

TEST(GetLatestRowsProvider, ReturnsWhatSelectReturns) {
    RecordingExtension extension;
    extension.select_result = false;
    std::vector<Row> out;
    EXPECT_FALSE(extension.get_latest_rows_provider({"p1"}, out, {}));
    EXPECT_EQ(1u, extension.queries.size());
}

// --- get_latest_collect_rows ---

TEST(GetLatestCollectRows, ComposesTheLatestCollectionQueryWithoutHosts) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_TRUE(extension.get_latest_collect_rows({"p1"}, out, {}));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ(
        "SELECT * FROM vexa_1 WHERE (Provider IN ('p1') )AND Unique_timestamp = (SELECT "
        "MAX(unique_timestamp) FROM vexa_1) GROUP BY OptionID, Hostname, Provider;",
        extension.queries[0]);
    EXPECT_EQ(vexa::datastore::column_index_map, extension.field_maps[0]);
}

TEST(GetLatestCollectRows, ComposesTheLatestCollectionQueryWithHosts) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_TRUE(extension.get_latest_collect_rows({"p1", "p2"}, out, {"n1"}));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ(
        "SELECT * FROM vexa_1 WHERE (Provider IN ('p1','p2') ) AND  (Hostname IN ('n1') )AND "
        "Unique_timestamp = (SELECT MAX(unique_timestamp) FROM vexa_1) GROUP BY OptionID, "
        "Hostname, Provider;",
        extension.queries[0]);
}

TEST(GetLatestCollectRows, ReplacesTheRowsInOut) {
    RecordingExtension extension;
    extension.canned_rows = {row_of("p1")};
    std::vector<Row> out = {row_of("earlier")};
    EXPECT_TRUE(extension.get_latest_collect_rows({"p1"}, out, {}));
    ASSERT_EQ(1u, out.size());
    EXPECT_EQ("p1", out[0].Provider);
}

TEST(GetLatestCollectRows, InstanceNotReadyReturnsFalseBeforeTouchingOut) {
    RecordingExtension extension;
    extension.ready = false;
    std::vector<Row> out = {row_of("earlier")};
    EXPECT_FALSE(extension.get_latest_collect_rows({"p1"}, out, {}));
    EXPECT_EQ(1, extension.readiness_checks);
    EXPECT_TRUE(extension.queries.empty());
    EXPECT_EQ(1u, out.size());
}

TEST(GetLatestCollectRows, EmptyProviderListReturnsFalseWithOutCleared) {
    RecordingExtension extension;
    std::vector<Row> out = {row_of("earlier")};
    EXPECT_FALSE(extension.get_latest_collect_rows({}, out, {}));
    EXPECT_TRUE(extension.queries.empty());
    EXPECT_TRUE(out.empty());
}

TEST(GetLatestCollectRows, BlankHostNameThrowsThoughTheProvidersAreFine) {
    RecordingExtension extension;
    std::vector<Row> out;
    EXPECT_EQ("Invalid parameters to where query for Hostname", runtime_error_of([&] {
                  extension.get_latest_collect_rows({"p1"}, out, {"n1", "\t"});
              }));
    EXPECT_TRUE(extension.queries.empty());
}

}  // namespace
