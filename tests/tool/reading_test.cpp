// The reading commands (latest, select, hosts, sql, stale, providers,
// summary) on known rows.
#include <string>
#include <vector>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

TEST_F(ToolWithKnownRows, LatestGivesTheNewestRowPerHost) {
    EXPECT_EQ(json({kLatestNode001, kNode002}), json_of({"latest", "-p", "cpu_load"}));
    EXPECT_EQ(json({kLatestNode001}), json_of({"latest", "-p", "cpu_load", "-H", "node001"}));
}

TEST_F(ToolWithKnownRows, SelectGivesEveryRowUnderTheCondition) {
    EXPECT_EQ(json({kFirstNode001, kNode002, kLatestNode001}),
              json_of({"select", "-p", "cpu_load", "--sort", "time"}));
    EXPECT_EQ(json({kLatestNode001}),
              json_of({"select", "-p", "cpu_load", "-w", "Exit_status != 0"}));
}

TEST_F(ToolWithKnownRows, HostsGivesTheHostRecords) {
    json hosts = json_of({"hosts"});
    ASSERT_EQ(1u, hosts.size());
    EXPECT_EQ("uname", hosts[0]["Provider"]);
    EXPECT_EQ("node001", hosts[0]["Hostname"]);
    EXPECT_EQ("Linux node001 6.1.0 x86_64", hosts[0]["STDOUT"]);
    EXPECT_EQ("", hosts[0]["Username"]);
}

TEST_F(ToolWithKnownRows, SqlPrintsAnyColumns) {
    std::string const query =
        "SELECT Provider, count(*) AS n, MAX(Unique_timestamp) AS newest, NULL AS missing, "
        "'007' AS code FROM vexa_1 GROUP BY Provider ORDER BY Provider";
    EXPECT_EQ(json::parse(R"([
        {"datastore": "vexa_default", "Provider": "cpu_load", "n": 3,
         "newest": 1700000600000000, "missing": null, "code": "007"},
        {"datastore": "vexa_default", "Provider": "uname", "n": 1,
         "newest": 1700000000000000, "missing": null, "code": "007"}])"),
              json_of({"sql", query}));
    EXPECT_EQ(
        "datastore     Provider  n            newest  missing  code\n"
        "------------  --------  -  ----------------  -------  ----\n"
        "vexa_default  cpu_load  3  1700000600000000           007\n"
        "vexa_default  uname     1  1700000000000000           007\n",
        output_of({"sql", query}));
}

TEST_F(ToolWithKnownRows, NoMatchingRowsIsNotAFailure) {
    EXPECT_EQ("(no rows)\n", output_of({"latest", "-p", "cpu_load", "-H", "node009"}));
    EXPECT_EQ("[]\n", output_of({"--format", "json", "select", "-p", "cpu_load", "-w", "1 = 0"}));
    EXPECT_EQ(
        "datastore,rowid,Provider,Hostname,num_nodes,node_names,Exit_status,Timestamp,Duration,"
        "Encoding,STDOUT,STDERR,OptionID,version,Username,Unique_timestamp\r\n",
        output_of({"--format", "csv", "sql", "SELECT * FROM vexa_1 WHERE Provider = 'memory'"}));
}

TEST_F(ToolWithKnownRows, BadSqlNamesTheDatastoreAndSQLitesReason) {
    struct Case {
        std::vector<std::string> args;
        std::string message;
    };
    std::vector<Case> const cases{
        {{"sql", "SELEC 1"},
         R"(datastore "vexa_default" failed to run the query "SELEC 1": near "SELEC": syntax error)"},
        {{"sql", "SELECT * FROM nowhere"},
         R"(datastore "vexa_default" failed to run the query "SELECT * FROM nowhere": no such table: nowhere)"},
        {{"select", "-p", "cpu_load", "-w", "Exit_status !="},
         R"x(datastore "vexa_default" failed to run the selection of "cpu_load" where "Exit_status !=": near ")": syntax error)x"},
    };
    for (auto const& c : cases) {
        Outcome outcome = run(c.args);
        EXPECT_EQ(1, outcome.status);
        EXPECT_EQ("vexa-datastore: " + c.message + "\n", outcome.err);
        EXPECT_EQ("", outcome.out);
    }
}

TEST_F(ToolWithKnownRows, VerboseShowsTheLibrarysDiagnostics) {
    Outcome outcome = run({"-v", "sql", "SELEC 1"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(
        "Datastore \"vexa_default\": near \"SELEC\": syntax error\n"
        "Operation code 774 failed for vexa_default\n"
        "vexa-datastore: datastore \"vexa_default\" failed to run the query \"SELEC 1\": near "
        "\"SELEC\": syntax error\n",
        outcome.err);
}

TEST_F(ToolInScratchHome, StaleListsOldPairsAndHostsThatStoppedReporting) {
    std::int64_t const now = now_seconds();
    output_of({"insert"}, records_relative_to(now));
    EXPECT_EQ(json::parse(R"([
        {"Hostname": "node003", "Provider": "*", "latest": )" +
                          std::to_string(now - 3600) +
                          R"(, "state": "stopped reporting"},
        {"Hostname": "node002", "Provider": "cpu_load", "latest": )" +
                          std::to_string(now - 1200) + R"(, "state": "stale"}])"),
              json_of({"stale", "--older-than", "15m"}));
    EXPECT_EQ(json::array(), json_of({"stale", "--older-than", "2h"}));
    EXPECT_EQ(1u, json_of({"stale", "--older-than", "15m", "-p", "memory"}).size())
        << "node003 only: memory is fresh on node002";
}

TEST_F(ToolInScratchHome, LatestWithoutProvidersAndHostShowEverything) {
    std::int64_t const now = now_seconds();
    output_of({"insert"}, records_relative_to(now));
    EXPECT_EQ(6u, json_of({"latest"}).size());
    json host = json_of({"host", "node002"});
    ASSERT_EQ(2u, host.size());
    EXPECT_EQ("cpu_load", host[0]["Provider"]);
    EXPECT_EQ(now - 1200, host[0]["Timestamp"]);
    EXPECT_EQ("memory", host[1]["Provider"]);
    Outcome outcome = run({"host"});
    EXPECT_EQ(2, outcome.status);
    EXPECT_EQ("vexa-datastore: host is required (see --help)\n", outcome.err);
}

TEST_F(ToolInScratchHome, SummaryFailedListsOnlyFailuresAndEveryFailedHost) {
    std::int64_t const now = 1700000000;
    output_of({"insert"}, records_relative_to(now));
    EXPECT_EQ(
        "Provider  hosts  passed  failed  newest                   failing since\n"
        "--------  -----  ------  ------  -----------------------  -----------------------\n"
        "cpu_load      3       2       1  2023-11-14 22:12:20 UTC  2023-11-14 21:53:20 UTC\n"
        "memory        3       2       1  2023-11-14 22:12:50 UTC  2023-11-14 21:11:40 UTC\n"
        "\n"
        "cpu_load failed on: node002 (since 2023-11-14 21:53:20 UTC)\n"
        "memory failed on: node003 (since 2023-11-14 21:11:40 UTC)\n",
        output_of({"summary", "--failed"}));
}

TEST_F(ToolInScratchHome, ProvidersCountsRecordsWithTheNewestTime) {
    output_of({"insert"}, records_relative_to(1700000000));
    EXPECT_EQ(
        "Provider  records  newest\n"
        "--------  -------  -----------------------\n"
        "cpu_load        3  2023-11-14 22:12:20 UTC\n"
        "memory          3  2023-11-14 22:12:50 UTC\n",
        output_of({"providers"}));
    EXPECT_EQ(json::parse(R"([{"Provider": "cpu_load", "records": 3, "newest": 1699999940},
                             {"Provider": "memory", "records": 3, "newest": 1699999970}])"),
              json_of({"providers"}));
}

TEST_F(ToolInScratchHome, SelectNarrowsByHostTimeAndCount) {
    output_of({"insert"}, records_relative_to(1700000000));
    auto hosts_of = [](json const& rows) {
        std::vector<std::string> hosts;
        for (auto const& row : rows) {
            hosts.push_back(row["Hostname"]);
        }
        return hosts;
    };
    EXPECT_EQ((std::vector<std::string>{"node003", "node003"}),
              hosts_of(json_of({"select", "-H", "node003"})));
    EXPECT_EQ(
        (std::vector<std::string>{"node003", "node003", "node002"}),
        hosts_of(json_of({"select", "--sort", "time", "--until", "2023-11-14 21:53:20", "--utc"})));
    EXPECT_EQ((std::vector<std::string>{"node001", "node001", "node002"}),
              hosts_of(json_of({"select", "--sort", "time", "--since", "2023-11-14T22:12:00",
                                "--utc", "-p", "memory,cpu_load"})));
    EXPECT_EQ((std::vector<std::string>{"node003", "node003"}),
              hosts_of(json_of({"select", "--sort", "time", "--limit", "2"})));
    EXPECT_EQ(6u, json_of({"select", "--since", "1000w"}).size());
}

}  // namespace
}  // namespace vexa::test
