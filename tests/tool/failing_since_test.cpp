// Since when a failing pair has been failing, as summary --failed and host
// show it, over runs stored out of their order.
#include <string>
#include <vector>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

constexpr std::int64_t kStart = 1700000000;  // 2023-11-14 22:13:20 UTC

std::string run_line(std::string const& provider, std::string const& host, int exit_status,
                     std::int64_t offset) {
    std::int64_t const time = kStart + offset;
    return json({{"Provider", provider},
                 {"Hostname", host},
                 {"Exit_status", exit_status},
                 {"Timestamp", time},
                 {"Unique_timestamp", time * 1000000}})
               .dump() +
           "\n";
}

// cpu_load on node1 passed, then failed twice (stored newest first); on
// node2 it never passed; on node3 it failed, then passed. memory passed on
// node1.
class ToolWithFailingPairs : public ToolInScratchHome {
  protected:
    void SetUp() override {
        ToolInScratchHome::SetUp();
        std::string const runs =
            run_line("cpu_load", "node1", 1, 120) + run_line("cpu_load", "node1", 0, 0) +
            run_line("cpu_load", "node1", 3, 60) + run_line("cpu_load", "node2", 1, 120) +
            run_line("cpu_load", "node2", 1, 30) + run_line("cpu_load", "node3", 0, 120) +
            run_line("cpu_load", "node3", 1, 0) + run_line("memory", "node1", 0, 120);
        output_of({"insert"}, runs);
    }
};

TEST_F(ToolWithFailingPairs, SummaryFailedTableSaysSinceWhenEachHostHasBeenFailing) {
    EXPECT_EQ(
        "Provider  hosts  passed  failed  newest                   failing since\n"
        "--------  -----  ------  ------  -----------------------  -----------------------\n"
        "cpu_load      3       1       2  2023-11-14 22:15:20 UTC  2023-11-14 22:13:50 UTC\n"
        "\n"
        "cpu_load failed on: node1 (since 2023-11-14 22:14:20 UTC) node2 (since 2023-11-14 "
        "22:13:50 UTC)\n",
        output_of({"summary", "--failed"}));
}

TEST_F(ToolWithFailingPairs, SummaryFailedGivesOneTimePerFailedHostInJsonAndCsv) {
    EXPECT_EQ(json::parse(R"([{"Provider": "cpu_load", "hosts": 3, "passed": 1, "failed": 2,
                               "newest": 1700000120, "failed_hosts": ["node1", "node2"],
                               "failing_since": [1700000060, 1700000030]}])"),
              json_of({"summary", "--failed"}));
    EXPECT_EQ(
        "Provider,hosts,passed,failed,newest,failed_hosts,failing_since\r\n"
        "cpu_load,3,1,2,1700000120,\"node1,node2\",\"1700000060,1700000030\"\r\n",
        output_of({"--format", "csv", "summary", "--failed"}));
}

TEST_F(ToolWithFailingPairs, SummaryWithoutFailedStaysAsItWas) {
    EXPECT_EQ(json::parse(R"([{"Provider": "cpu_load", "hosts": 3, "passed": 1, "failed": 2,
                               "newest": 1700000120},
                              {"Provider": "memory", "hosts": 1, "passed": 1, "failed": 0,
                               "newest": 1700000120}])"),
              json_of({"summary"}));
}

TEST_F(ToolWithFailingPairs, HostAsJsonLinesGoesBackIntoInsertWithoutItsSince) {
    std::string const lines = output_of({"--format", "jsonl", "host", "node1"});
    ASSERT_NE(lines.find("\"failing_since\":1700000060"), std::string::npos) << lines;
    Outcome const stored = run({"insert"}, lines, {{"HOME", file("other")}});
    EXPECT_EQ(0, stored.status) << stored.err;
    EXPECT_EQ("", stored.err);
    EXPECT_EQ("stored 2 records in vexa_default (sqlite3 " + file("other") +
                  "/.vexa/2021.4.0/vexa.db (read-write))\n",
              stored.out);
}

TEST_F(ToolWithFailingPairs, HostShowsSinceWhenItsFailingProvidersHaveBeenFailing) {
    EXPECT_EQ(
        "Provider  Hostname  Exit_status  Timestamp                STDOUT  STDERR  failing "
        "since\n"
        "--------  --------  -----------  -----------------------  ------  ------  "
        "-----------------------\n"
        "cpu_load  node1               1  2023-11-14 22:15:20 UTC                  2023-11-14 "
        "22:14:20 UTC\n"
        "memory    node1               0  2023-11-14 22:15:20 UTC\n",
        output_of({"host", "node1"}));
    json const rows = json_of({"host", "node1"});
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ(1700000060, rows[0]["failing_since"]);
    EXPECT_EQ(nullptr, rows[1]["failing_since"]);
}

TEST_F(ToolWithFailingPairs, HostThatNeverPassedIsFailingSinceItsFirstRun) {
    json const rows = json_of({"host", "node2"});
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(1700000030, rows[0]["failing_since"]);
}

TEST_F(ToolWithFailingPairs, HostWithoutFailuresHasNoSinceColumn) {
    json const rows = json_of({"host", "node3"});
    ASSERT_EQ(1u, rows.size());
    EXPECT_FALSE(rows[0].contains("failing_since")) << rows[0];
    EXPECT_EQ(std::string::npos, output_of({"host", "node3"}).find("failing")) << "table";
}

}  // namespace
}  // namespace vexa::test
