// demo fills the default datastore with realistic results; summary agrees
// with them; reading commands never create a datastore.
#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "pseudo_terminal.h"
#include "tool_fixture.h"

namespace vexa::test {
namespace {

TEST_F(ToolInScratchHome, DemoWithDefaultsFillsTheDefaultDatastoreWithinSeconds) {
    auto start = std::chrono::steady_clock::now();
    Outcome outcome = run({"demo"});
    auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err) << "no progress when standard error is not a terminal";
    EXPECT_LT(seconds, 20.0);
    EXPECT_TRUE(exists(default_database()));
    std::string const head =
        "stored 216 records in vexa_default (" + default_description() + ")\n\n";
    ASSERT_EQ(head, outcome.out.substr(0, head.size()));
    EXPECT_EQ("Provider       hosts  passed  failed  newest",
              outcome.out.substr(head.size(), outcome.out.find('\n', head.size()) - head.size()));
    json summary = json_of({"summary"});
    ASSERT_EQ(9u, summary.size());
    std::vector<std::string> providers;
    for (auto const& line : summary) {
        providers.push_back(line["Provider"]);
        EXPECT_EQ(8, line["hosts"]);
    }
    EXPECT_EQ(
        (std::vector<std::string>{"cpu_load", "disk_usage", "infiniband", "memory", "mpi_allreduce",
                                  "network", "ntp_sync", "services", "uname"}),
        providers);
}

TEST_F(ToolInScratchHome, ProgressIsShownOnlyOnATerminal) {
    PseudoTerminal terminal;
    ASSERT_GE(terminal.side(), 0);
    // Shown from the start rather than after a second, so that a small demo
    // shows it however fast the machine stores the records.
    Outcome outcome = run({"demo", "--hosts", "20", "--runs", "2"}, "",
                          {{"VEXA_PROGRESS_DELAY_MS", "0"}}, terminal.side());
    std::string shown = terminal.shown();
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(0u, outcome.out.find("stored 360 records")) << "standard output stays clean";
    EXPECT_NE(std::string::npos, shown.find("\rstoring demo results: ")) << shown;
    EXPECT_NE(std::string::npos, shown.find("/360 (")) << shown;
    EXPECT_EQ("\r\033[K", shown.substr(shown.size() - 4)) << "the line is erased at the end";
}

TEST_F(ToolInScratchHome, SummaryAgreesWithTheRowsDemoWrote) {
    output_of({"demo", "--hosts", "5", "--providers", "4", "--runs", "3"});
    json rows = json_of({"select"});
    ASSERT_EQ(60u, rows.size());

    // The latest result of every provider and host, worked out from all rows.
    struct Latest {
        std::int64_t stamp = 0;
        int exit_status = 0;
        std::int64_t timestamp = 0;
    };
    std::map<std::string, std::map<std::string, Latest>> latest;
    for (auto const& row : rows) {
        auto& entry = latest[row["Provider"]][row["Hostname"]];
        if (row["Unique_timestamp"].get<std::int64_t>() > entry.stamp) {
            entry = {row["Unique_timestamp"], row["Exit_status"], row["Timestamp"]};
        }
    }
    ASSERT_EQ(4u, latest.size());

    json everything = json_of({"summary"});
    ASSERT_EQ(4u, everything.size());
    json summary = json_of({"summary", "--failed"});
    ASSERT_GE(summary.size(), 1u);
    int failures = 0;
    for (auto const& line : everything) {
        auto const& hosts = latest.at(line["Provider"]);
        EXPECT_EQ(hosts.size(), line["hosts"]);
    }
    for (auto const& line : summary) {
        auto const& hosts = latest.at(line["Provider"]);
        std::vector<std::string> failed;
        std::int64_t newest = 0;
        for (auto const& [host, entry] : hosts) {
            if (entry.exit_status != 0) {
                failed.push_back(host);
            }
            newest = std::max(newest, entry.timestamp);
        }
        EXPECT_EQ(hosts.size(), line["hosts"]);
        EXPECT_EQ(hosts.size() - failed.size(), line["passed"]);
        EXPECT_EQ(failed.size(), line["failed"]);
        EXPECT_EQ(failed, line["failed_hosts"]);
        EXPECT_EQ(newest, line["newest"]) << "JSON keeps the stored number";
        EXPECT_FALSE(failed.empty()) << "--failed lists only providers with failures";
        failures += static_cast<int>(failed.size());
    }
    // node003's /scratch is full by the third round.
    auto disk = std::find_if(summary.begin(), summary.end(),
                             [](json const& line) { return line["Provider"] == "disk_usage"; });
    ASSERT_NE(summary.end(), disk);
    EXPECT_EQ(json({"node003"}), (*disk)["failed_hosts"]);
    EXPECT_GE(failures, 1);
}

TEST_F(ToolInScratchHome, DemoWritesRealisticIncreasingUniqueRecords) {
    output_of({"demo", "--hosts", "6", "--runs", "2"});
    output_of({"demo", "--hosts", "6", "--runs", "2"});
    json rows = json_of({"select"});
    std::sort(rows.begin(), rows.end(),
              [](json const& a, json const& b) { return a["rowid"] < b["rowid"]; });
    ASSERT_EQ(2u * 2u * 6u * 9u, rows.size());
    std::int64_t previous = 0;
    std::set<std::string> hosts;
    int failed = 0;
    for (auto const& row : rows) {
        EXPECT_GT(row["Unique_timestamp"].get<std::int64_t>(), previous);
        previous = row["Unique_timestamp"];
        EXPECT_EQ(row["Timestamp"], previous / 1000000);
        EXPECT_EQ(row["num_nodes"], row["node_names"].size());
        EXPECT_EQ("tester", row["Username"]);
        EXPECT_FALSE(row["STDOUT"].get<std::string>().empty() && row["Exit_status"] == 0);
        if (row["Exit_status"] != 0) {
            ++failed;
            EXPECT_FALSE(row["STDERR"].get<std::string>().empty());
        }
        hosts.insert(row["Hostname"].get<std::string>());
        if (row["Provider"] == "uname") {
            EXPECT_EQ(0u, row["STDOUT"].get<std::string>().find(
                              "Linux " + row["Hostname"].get<std::string>()));
        }
        if (row["Provider"] == "network") {
            EXPECT_EQ(2, row["num_nodes"]);
        }
    }
    EXPECT_EQ(
        (std::set<std::string>{"node001", "node002", "node003", "node004", "node005", "node006"}),
        hosts);
    EXPECT_GT(failed, 0);
    EXPECT_LT(failed, static_cast<int>(rows.size()) / 5) << "a few failures, not many";
}

TEST_F(ToolInScratchHome, SummaryOfNamedProvidersAndHosts) {
    output_of({"demo", "--hosts", "4", "--runs", "3"});
    json summary = json_of({"summary", "-p", "disk_usage,memory", "-H", "node003"});
    ASSERT_EQ(2u, summary.size());
    EXPECT_EQ("disk_usage", summary[0]["Provider"]);
    EXPECT_EQ(1, summary[0]["hosts"]);
    EXPECT_EQ(0, summary[0]["passed"]);
    EXPECT_EQ(1, summary[0]["failed"]);
    EXPECT_EQ("memory", summary[1]["Provider"]);

    for (std::string command : {"summary", "latest", "select", "stale"}) {
        std::vector<std::string> args{command, "-p", "disk_usag"};
        if (command == "stale") {
            args.insert(args.end(), {"--older-than", "1h"});
        }
        Outcome outcome = run(args);
        EXPECT_EQ(1, outcome.status) << command;
        EXPECT_EQ("vexa-datastore: no provider 'disk_usag'; did you mean 'disk_usage'?\n",
                  outcome.err);
        EXPECT_EQ("", outcome.out);
    }
    Outcome outcome = run({"summary", "-p", "frobnitz"});
    EXPECT_EQ("vexa-datastore: no provider 'frobnitz'\n", outcome.err);
}

TEST_F(ToolInScratchHome, SummaryOfAnEmptyDatastoreSaysSo) {
    EXPECT_EQ("stored no records\n", output_of({"insert"}, ""));
    EXPECT_EQ("(no rows)\n", output_of({"summary"}));
    EXPECT_EQ("[]\n", output_of({"summary", "--format", "json"}));
}

TEST_F(ToolInScratchHome, ReadingCommandsNeverCreateTheDatastore) {
    for (std::vector<std::string> args : {std::vector<std::string>{"summary"},
                                          {"latest"},
                                          {"select"},
                                          {"hosts"},
                                          {"providers"},
                                          {"host", "node001"},
                                          {"stale", "--older-than", "1h"},
                                          {"sql", "SELECT 1"}}) {
        Outcome outcome = run(args);
        EXPECT_EQ(1, outcome.status) << args[0];
        EXPECT_EQ("vexa-datastore: cannot open datastore \"vexa_default\" at " +
                      default_database() +
                      ": it does not exist yet (create it with \"vexa-datastore demo\" or "
                      "\"vexa-datastore insert\")\n",
                  outcome.err);
        EXPECT_EQ("", outcome.out);
    }
    EXPECT_FALSE(exists(home_ + "/.vexa"));
}

}  // namespace
}  // namespace vexa::test
