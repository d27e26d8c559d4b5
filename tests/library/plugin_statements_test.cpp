// The SQL texts the plug-ins make from the table of record columns and from
// their shared pieces come out exactly as the plug-ins have always run them.
#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/operations.h>
#include <gtest/gtest.h>

#include "dialect.h"
#include "multi_row_insert.h"
#include "schema.h"
#include "statements.h"

namespace {

namespace common = vexa::datastore::common;
namespace odbc = vexa::datastore::odbc_plugin;

std::string const kNewerRowExists =
    " WHERE newer.Provider = provider_datastore.Provider AND newer.Hostname = "
    "provider_datastore.Hostname AND newer.OptionID = provider_datastore.OptionID AND "
    "newer.Unique_timestamp > provider_datastore.Unique_timestamp)";

vexa::datastore::PruneRequest keeping_latest_of(std::vector<std::string> providers) {
    vexa::datastore::PruneRequest request;
    request.providers = std::move(providers);
    request.keep_latest = true;
    return request;
}

TEST(InsertQuery, ListsTheStoredColumnsWithNumberedMarkers) {
    EXPECT_EQ(common::insert_query(common::Markers::numbered) + ";",
              "INSERT INTO provider_datastore(Provider, Hostname, num_nodes, node_names, "
              "Exit_status, Timestamp, Duration, Encoding, STDOUT, STDERR, OptionID, version, "
              "Username, Unique_timestamp) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, "
              "?12, ?13, ?14) ON CONFLICT DO NOTHING;");
}

TEST(InsertQuery, ListsTheStoredColumnsWithPlainMarkers) {
    EXPECT_EQ(common::insert_query(common::Markers::plain),
              "INSERT INTO provider_datastore(Provider, Hostname, num_nodes, node_names, "
              "Exit_status, Timestamp, Duration, Encoding, STDOUT, STDERR, OptionID, version, "
              "Username, Unique_timestamp) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON "
              "CONFLICT DO NOTHING");
}

TEST(MultiRowInsert, RepeatsTheValuesListOfThePlainInsert) {
    std::string const one = common::insert_query(common::Markers::plain);
    std::string const values = "(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
    EXPECT_EQ(odbc::multi_row_insert(one, 1), one);
    // The rows go after the one-row values list, before any clause that follows it.
    std::size_t const end = one.find(values) + values.size();
    EXPECT_EQ(odbc::multi_row_insert(one, 3),
              one.substr(0, end) + ", " + values + ", " + values + one.substr(end));
}

TEST(MultiRowInsert, KeepsWhatComesBeforeAndAfterTheValuesList) {
    EXPECT_EQ(odbc::multi_row_insert("INSERT INTO t(a, b) VALUES(?, ?) ON CONFLICT DO NOTHING", 2),
              "INSERT INTO t(a, b) VALUES(?, ?), (?, ?) ON CONFLICT DO NOTHING");
    EXPECT_EQ(odbc::multi_row_insert("INSERT OR IGNORE INTO t(a) VALUES(?)", 3),
              "INSERT OR IGNORE INTO t(a) VALUES(?), (?), (?)");
}

TEST(MultiRowInsert, RefusesATextWithoutAValuesListAndNoRows) {
    EXPECT_THROW(odbc::multi_row_insert("DELETE FROM t", 2), std::invalid_argument);
    EXPECT_THROW(odbc::multi_row_insert("INSERT INTO t(a) VALUES(?)", 0), std::invalid_argument);
}

TEST(ComposedHostsQuery, GroupsTheUnameRowsByHost) {
    EXPECT_EQ(common::composed_hosts_query(),
              "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE Provider = 'uname' GROUP BY "
              "Hostname;");
}

TEST(LatestRowIndex, IsNamedAfterTheTableAndOrdersStampsNewestFirst) {
    EXPECT_EQ(common::latest_row_index_name(), "provider_datastore_latest");
    EXPECT_EQ(common::create_latest_row_index(),
              "CREATE INDEX IF NOT EXISTS provider_datastore_latest ON "
              "provider_datastore(Provider, Hostname, OptionID, Unique_timestamp DESC)");
}

TEST(LatestRowIndex, HasAUniqueFormOverTheRunKey) {
    EXPECT_EQ(common::create_unique_latest_row_index(),
              "CREATE UNIQUE INDEX provider_datastore_latest ON "
              "provider_datastore(Provider, Hostname, OptionID, Unique_timestamp DESC)");
}

TEST(PruneCondition, OfAPlainRequestComparesTheStampOnly) {
    vexa::datastore::PruneRequest const request;
    EXPECT_EQ(common::prune_condition(request, common::Markers::numbered, 4, " AS newer"),
              "Unique_timestamp < ?1");
    EXPECT_EQ(common::prune_condition(request, common::Markers::plain, 2, " newer"),
              "Unique_timestamp < ?");
}

TEST(PruneCondition, NumbersTheProvidersFromTheFirstProviderParameter) {
    EXPECT_EQ(common::prune_condition(keeping_latest_of({"a", "b"}), common::Markers::numbered, 4,
                                      " AS newer"),
              "Unique_timestamp < ?1 AND Provider IN (?4, ?5) AND EXISTS (SELECT 1 FROM "
              "provider_datastore AS newer" +
                  kNewerRowExists);
}

TEST(PruneCondition, WithPlainMarkersAliasesTheTableAsAsked) {
    EXPECT_EQ(
        common::prune_condition(keeping_latest_of({"a", "b"}), common::Markers::plain, 2, " newer"),
        "Unique_timestamp < ? AND Provider IN (?, ?) AND EXISTS (SELECT 1 FROM "
        "provider_datastore newer" +
            kNewerRowExists);
}

TEST(PostgresqlSchema, CreatesTheTableViewBaselineAndIndexInOneTransaction) {
    std::vector<std::string> const expected = {
        "BEGIN",
        "SELECT pg_advisory_xact_lock(7263541)",
        "CREATE TABLE IF NOT EXISTS provider_datastore(rowid BIGINT GENERATED BY DEFAULT AS "
        "IDENTITY PRIMARY KEY, Provider TEXT, Hostname TEXT, num_nodes INTEGER, node_names TEXT, "
        "Exit_status INTEGER, Timestamp BIGINT, Duration DOUBLE PRECISION, Encoding INTEGER, "
        "STDOUT TEXT, STDERR TEXT, OptionID TEXT, version INTEGER, Username TEXT, "
        "Unique_timestamp BIGINT)",
        "CREATE OR REPLACE VIEW vexa_1 AS SELECT "
        "rowid,Provider,Hostname,num_nodes,node_names,Exit_status,Timestamp, "
        "Duration,Encoding,STDOUT,STDERR, OptionID,Version,Username,Unique_timestamp from "
        "provider_datastore",
        "CREATE TABLE IF NOT EXISTS baseline_datastore(rowid BIGINT GENERATED BY DEFAULT AS "
        "IDENTITY PRIMARY KEY, baseline_id TEXT, datastore_rowid BIGINT, fwd_name TEXT, "
        "provider_checksum TEXT, command_checksum TEXT)",
        "CREATE INDEX IF NOT EXISTS provider_datastore_latest ON "
        "provider_datastore(Provider, Hostname, OptionID, Unique_timestamp DESC)",
        "COMMIT",
    };
    EXPECT_EQ(odbc::schema_statements(odbc::Dbms::postgresql), expected);
}

TEST(StandardLatestRows, JoinEachGroupToItsGreatestStamp) {
    odbc::QueryAround const query = odbc::latest_rows_query();
    EXPECT_EQ(query.head + " (Provider IN ('p') )" + query.tail,
              "SELECT v.* FROM vexa_1 v JOIN (SELECT OptionID, Hostname, Provider, "
              "MAX(Unique_timestamp) AS latest FROM vexa_1 WHERE (Provider IN ('p') ) GROUP BY "
              "OptionID, Hostname, Provider) m ON v.OptionID = m.OptionID AND v.Hostname = "
              "m.Hostname AND v.Provider = m.Provider AND v.Unique_timestamp = m.latest ORDER BY "
              "v.OptionID, v.Hostname, v.Provider, v.rowid");
}

TEST(StandardLatestCollectRows, CompareWithTheViewsGreatestStamp) {
    odbc::QueryAround const query = odbc::latest_collect_rows_query();
    EXPECT_EQ(query.head + " (Provider IN ('p') )" + query.tail,
              "SELECT * FROM vexa_1 WHERE (Provider IN ('p') ) AND Unique_timestamp = (SELECT "
              "MAX(Unique_timestamp) FROM vexa_1) ORDER BY OptionID, Hostname, Provider, rowid");
}

}  // namespace
