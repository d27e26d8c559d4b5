// The query functions: what they send to every data datastore (seen through
// the request recorder plug-in), what the steered plug-in's rows become, and
// the reduction to the latest rows per provider and host.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include <datastore/datastore.h>

#include "plugins/request_recorder.h"
#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::column_index_map;
using vexa::datastore::get_hosts_data;
using vexa::datastore::get_latest_rows_provider_data;
using vexa::datastore::get_latest_rows_provider_hosts_data;
using vexa::datastore::OP_GET_LATEST_ROWS;
using vexa::datastore::OP_SELECT;
using vexa::datastore::OP_SELECT_HOSTS;
using vexa::datastore::Row;
using vexa::datastore::select_data;
using vexa::datastore::select_provider_data;
using vexa::test::recorded_request;
using vexa::test::RecordedRequest;
using vexa::test::register_steered;
using vexa::test::steered_last_query;

using Strings = std::vector<std::string>;

void register_recorder(std::string name) {
    vexa::test::register_plugin(VEXA_PLUGIN_REQUEST_RECORDER, std::move(name), "",
                                vexa::test::data_only());
}

// (Provider, Hostname, stamp, datastore, rowid) of each row, for comparing
// whole results at once.
struct Seen {
    std::string provider;
    std::string host;
    std::int64_t stamp;
    std::string source;
    int rowid;
    bool operator==(Seen const& other) const {
        return provider == other.provider && host == other.host && stamp == other.stamp &&
               source == other.source && rowid == other.rowid;
    }
};

std::ostream& operator<<(std::ostream& out, Seen const& seen) {
    return out << seen.provider << "/" << seen.host << "/" << seen.stamp << "@" << seen.source
               << "#" << seen.rowid;
}

std::vector<Seen> seen(std::vector<Row> const& rows) {
    std::vector<Seen> result;
    for (Row const& row : rows) {
        result.push_back(
            {row.Provider, row.Hostname, row.Unique_timestamp, row.datastore_source, row.rowid});
    }
    return result;
}

std::map<std::string, int> const custom_fields{{"Provider", 1}, {"Hostname", 2}};

class QueriesTest : public vexa::test::RegistryTest {
  protected:
    std::vector<Row> stale_rows() {
        std::vector<Row> rows(2);
        rows[0].Provider = "stale";
        return rows;
    }
};

// ---- what is sent --------------------------------------------------------

TEST_F(QueriesTest, SelectDataSendsTheQueryAndTheCallersColumnMap) {
    register_recorder("q_recorder");
    std::vector<Row> rows;

    // The recorder answers 0 without rows, so nothing was found.
    EXPECT_FALSE(select_data("SELECT * FROM vexa_1", rows, custom_fields, true));

    RecordedRequest const& request = recorded_request();
    EXPECT_EQ(request.opcode, OP_SELECT);
    EXPECT_TRUE(request.providers.empty());
    EXPECT_TRUE(request.hostnames.empty());
    ASSERT_TRUE(request.has_sql);
    EXPECT_EQ(request.query, "SELECT * FROM vexa_1");
    EXPECT_EQ(request.filter, "");
    EXPECT_EQ(request.fields, custom_fields);
}

TEST_F(QueriesTest, SelectDataWithAnEmptyQueryAsksNobody) {
    register_recorder("q_recorder");
    register_steered("q_failing", "code=1");
    int const calls_before = recorded_request().calls;
    std::vector<Row> rows = stale_rows();
    vexa::test::ScopedLogLevel debug(7);
    vexa::test::StderrCapture err;

    EXPECT_FALSE(select_data("", rows, custom_fields));

    EXPECT_EQ(err.text(), "");
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(recorded_request().calls, calls_before);
}

TEST_F(QueriesTest, SelectProviderDataSendsTheTrimmedSelection) {
    register_recorder("q_recorder");
    std::vector<Row> rows;

    EXPECT_FALSE(select_provider_data({"p1", "p2"}, rows, " \t x \n"));

    RecordedRequest const& request = recorded_request();
    EXPECT_EQ(request.opcode, OP_SELECT);
    EXPECT_EQ(request.providers, (Strings{"p1", "p2"}));
    EXPECT_TRUE(request.hostnames.empty());
    ASSERT_TRUE(request.has_sql);
    EXPECT_EQ(request.filter, "x");
    EXPECT_EQ(request.query, "");
    EXPECT_EQ(request.fields, column_index_map);
}

TEST_F(QueriesTest, SelectProviderDataReachesTheExtensionsComposedQuery) {
    register_steered("q_steered", "row=p1/h1/4");
    std::vector<Row> rows;

    EXPECT_TRUE(select_provider_data({"p1"}, rows, "  Hostname = 'h1' "));

    EXPECT_EQ(steered_last_query(),
              "SELECT * FROM vexa_1 WHERE (Hostname = 'h1') AND  (Provider IN ('p1') )");
    EXPECT_EQ(seen(rows), (std::vector<Seen>{{"p1", "h1", 4, "q_steered", 1}}));
}

TEST_F(QueriesTest, SelectProviderDataWithoutProvidersAsksNobody) {
    register_recorder("q_recorder");
    int const calls_before = recorded_request().calls;
    std::vector<Row> rows = stale_rows();

    EXPECT_FALSE(select_provider_data({}, rows, "x"));

    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(recorded_request().calls, calls_before);
}

TEST_F(QueriesTest, LatestRowsWithoutHostNameAskForAllHosts) {
    register_recorder("q_recorder");
    std::vector<Row> rows;

    EXPECT_FALSE(get_latest_rows_provider_data({"p1", "p2"}, rows, ""));

    RecordedRequest const& request = recorded_request();
    EXPECT_EQ(request.opcode, OP_GET_LATEST_ROWS);
    EXPECT_EQ(request.providers, (Strings{"p1", "p2"}));
    EXPECT_TRUE(request.hostnames.empty());
    EXPECT_FALSE(request.has_sql);
}

TEST_F(QueriesTest, LatestRowsWithAHostNameAskForThatHostOnly) {
    register_recorder("q_recorder");
    std::vector<Row> rows;

    EXPECT_FALSE(get_latest_rows_provider_data({"p1"}, rows, "h7"));

    RecordedRequest const& request = recorded_request();
    EXPECT_EQ(request.opcode, OP_GET_LATEST_ROWS);
    EXPECT_EQ(request.providers, (Strings{"p1"}));
    EXPECT_EQ(request.hostnames, (Strings{"h7"}));
}

TEST_F(QueriesTest, LatestRowsReachTheExtensionsComposedQueryWithAndWithoutHost) {
    register_steered("q_steered", "row=p/h7/1");
    std::vector<Row> rows;

    EXPECT_TRUE(get_latest_rows_provider_data({"p"}, rows, ""));
    EXPECT_EQ(steered_last_query(),
              "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE (Provider IN ('p') )"
              "GROUP BY OptionID, Hostname, Provider;");

    EXPECT_TRUE(get_latest_rows_provider_data({"p"}, rows, "h7"));
    EXPECT_EQ(steered_last_query(),
              "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE (Provider IN ('p') ) AND  "
              "(Hostname IN ('h7') )GROUP BY OptionID, Hostname, Provider;");
}

TEST_F(QueriesTest, LatestRowsForSeveralHostsSendTheList) {
    register_recorder("q_recorder");
    std::vector<Row> rows;

    EXPECT_FALSE(get_latest_rows_provider_hosts_data({"p"}, rows, {"h1", "h2"}));

    EXPECT_EQ(recorded_request().hostnames, (Strings{"h1", "h2"}));
}

TEST_F(QueriesTest, LatestRowsWithoutProvidersAskNobody) {
    register_recorder("q_recorder");
    int const calls_before = recorded_request().calls;
    std::vector<Row> rows = stale_rows();

    EXPECT_FALSE(get_latest_rows_provider_hosts_data({}, rows, {"h1"}));
    EXPECT_TRUE(rows.empty());
    rows = stale_rows();
    EXPECT_FALSE(get_latest_rows_provider_data({}, rows, "h1"));
    EXPECT_TRUE(rows.empty());

    EXPECT_EQ(recorded_request().calls, calls_before);
}

TEST_F(QueriesTest, HostsDataSendsTheUnameProviderAndTheCallersColumnMap) {
    register_recorder("q_recorder");
    std::vector<Row> rows;

    EXPECT_FALSE(get_hosts_data(rows, custom_fields));

    RecordedRequest const& request = recorded_request();
    EXPECT_EQ(request.opcode, OP_SELECT_HOSTS);
    EXPECT_EQ(request.providers, (Strings{"uname"}));
    EXPECT_TRUE(request.hostnames.empty());
    ASSERT_TRUE(request.has_sql);
    EXPECT_EQ(request.filter, "");
    EXPECT_EQ(request.query, "");
    EXPECT_EQ(request.fields, custom_fields);
}

TEST_F(QueriesTest, HostsDataAsksEveryDataDatastoreAndKeepsAllRows) {
    register_steered("q_hosts_a", "row=uname/h1/5|row=uname/h1/9");
    register_steered("q_hosts_b", "row=uname/h1/7");
    std::bitset<2> stream_only;
    stream_only.set(vexa::datastore::stream);
    register_steered("q_hosts_stream", "row=uname/h9/1", stream_only);
    std::vector<Row> rows;

    EXPECT_TRUE(get_hosts_data(rows, column_index_map));

    EXPECT_EQ(steered_last_query(), "SELECT * FROM vexa_1 WHERE Provider = 'uname'");
    EXPECT_EQ(seen(rows), (std::vector<Seen>{{"uname", "h1", 5, "q_hosts_a", 1},
                                             {"uname", "h1", 9, "q_hosts_a", 2},
                                             {"uname", "h1", 7, "q_hosts_b", 1}}));
}

// ---- the latest rows -----------------------------------------------------

TEST_F(QueriesTest, TiesOfTheGreatestStampAreAllKeptInMergedOrder) {
    register_steered("q_ties", "row=p/h/9|row=p/h/5|row=p/h/9");
    std::vector<Row> rows;

    EXPECT_TRUE(get_latest_rows_provider_data({"p"}, rows, ""));

    EXPECT_EQ(seen(rows),
              (std::vector<Seen>{{"p", "h", 9, "q_ties", 1}, {"p", "h", 9, "q_ties", 3}}));
}

TEST_F(QueriesTest, StampsFiveNineNineYieldTheTwoNines) {
    register_steered("q_ties", "row=p/h/5|row=p/h/9|row=p/h/9");
    std::vector<Row> rows;

    EXPECT_TRUE(get_latest_rows_provider_data({"p"}, rows, ""));

    EXPECT_EQ(seen(rows),
              (std::vector<Seen>{{"p", "h", 9, "q_ties", 2}, {"p", "h", 9, "q_ties", 3}}));
}

TEST_F(QueriesTest, NegativeStampsCompareAsSigned) {
    register_steered("q_signed",
                     "row=p/alone/-3|row=p/mixed/-1|row=p/mixed/1|row=p/negative/-7|"
                     "row=p/negative/-2|row=p/extreme/-9223372036854775808|"
                     "row=p/extreme/9223372036854775807");
    std::vector<Row> rows;

    EXPECT_TRUE(get_latest_rows_provider_data({"p"}, rows, ""));

    EXPECT_EQ(seen(rows), (std::vector<Seen>{{"p", "alone", -3, "q_signed", 1},
                                             {"p", "mixed", 1, "q_signed", 3},
                                             {"p", "negative", -2, "q_signed", 5},
                                             {"p", "extreme", INT64_MAX, "q_signed", 7}}));
}

TEST_F(QueriesTest, TwoProvidersOnOneHostYieldOneLatestRowEach) {
    register_steered("q_two", "row=p1/h/3|row=p2/h/8|row=p1/h/4|row=p2/h/2");
    std::vector<Row> rows;

    EXPECT_TRUE(get_latest_rows_provider_data({"p1", "p2"}, rows, "h"));

    EXPECT_EQ(seen(rows),
              (std::vector<Seen>{{"p2", "h", 8, "q_two", 2}, {"p1", "h", 4, "q_two", 3}}));
}

TEST_F(QueriesTest, OneProviderOnTwoHostsYieldsOneLatestRowPerHost) {
    register_steered("q_hosts", "row=p/h1/3|row=p/h2/1|row=p/h1/2|row=p/h2/6");
    std::vector<Row> rows;

    EXPECT_TRUE(get_latest_rows_provider_hosts_data({"p"}, rows, {}));

    EXPECT_EQ(seen(rows),
              (std::vector<Seen>{{"p", "h1", 3, "q_hosts", 1}, {"p", "h2", 6, "q_hosts", 4}}));
}

TEST_F(QueriesTest, DatastoresCompeteAndTheSameRecordInBothIsKeptTwice) {
    register_steered("q_old", "row=p/h1/5|row=p/h2/9|row=q/h1/1");
    register_steered("q_new", "row=p/h1/8|row=p/h2/9");
    std::vector<Row> rows;

    EXPECT_TRUE(get_latest_rows_provider_hosts_data({"p", "q"}, rows, {}));

    EXPECT_EQ(seen(rows), (std::vector<Seen>{{"p", "h2", 9, "q_old", 2},
                                             {"q", "h1", 1, "q_old", 3},
                                             {"p", "h1", 8, "q_new", 1},
                                             {"p", "h2", 9, "q_new", 2}}));
}

TEST_F(QueriesTest, LatestRowsKeepEveryMemberOfTheChosenRow) {
    register_steered("q_whole", "row=p/h/2");
    std::vector<Row> rows;

    EXPECT_TRUE(get_latest_rows_provider_data({"p"}, rows, ""));

    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].node_names, (Strings{"n1", "n2"}));
    EXPECT_EQ(rows[0].STDOUT, "out");
    EXPECT_EQ(rows[0].OptionID, "opt");
    EXPECT_EQ(rows[0].datastore_source, "q_whole");
}

TEST_F(QueriesTest, LatestRowsReplaceTheCallersRowsAndTheFlagChangesNothing) {
    register_steered("q_flag", "row=p/h/1|row=p/h/2");
    std::vector<Row> with_flag = stale_rows();
    std::vector<Row> without_flag = stale_rows();

    EXPECT_TRUE(get_latest_rows_provider_data({"p"}, with_flag, "", true));
    EXPECT_TRUE(get_latest_rows_provider_data({"p"}, without_flag, "", false));

    EXPECT_EQ(seen(with_flag), (std::vector<Seen>{{"p", "h", 2, "q_flag", 2}}));
    EXPECT_EQ(seen(without_flag), seen(with_flag));
}

TEST_F(QueriesTest, LatestRowsFromNoDatastoreAreNone) {
    register_steered("q_failing", "code=1");
    std::vector<Row> rows = stale_rows();

    EXPECT_FALSE(get_latest_rows_provider_data({"p"}, rows, ""));
    EXPECT_TRUE(rows.empty());
}

}  // namespace
