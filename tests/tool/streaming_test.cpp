// select and sql print rows as the datastores hand them over, block by
// block: the bytes are those of the whole read in every format, and a
// datastore failing halfway leaves its printed rows and makes the exit 1.
#include <string>
#include <vector>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

// 2,500 results in time order, more than two blocks, with texts that need
// quoting in csv and json, odd durations and several node names.
std::string many_records() {
    std::string lines;
    for (int i = 1; i <= 2500; ++i) {
        std::string const host = "node" + std::to_string(i % 7);
        lines += json({{"Provider", i % 3 == 0 ? "disk" : "cpu_load"},
                       {"Hostname", host},
                       {"num_nodes", 2},
                       {"node_names", {host, "peer \"quoted\""}},
                       {"Exit_status", i % 5},
                       {"Timestamp", 1700000000 + i},
                       {"Duration", 0.1 * i},
                       {"STDOUT", "line one\nline \"two\", " + std::to_string(i)},
                       {"STDERR", i % 11 == 0 ? "trouble" : ""},
                       {"Unique_timestamp", 1700000000000000 + i}})
                     .dump() +
                 "\n";
    }
    return lines;
}

class ToolStreaming : public ToolInScratchHome {
  protected:
    void SetUp() override {
        ToolInScratchHome::SetUp();
        one_ = write_config("one.xml", {{"filled", "source=" + file("filled.db")}});
        // With --sort time the rows of several datastores holding data are
        // merged whole before they are ordered; beside a datastore that holds
        // none, the one that does orders its rows in SQL and streams them.
        two_ = write_config("two.xml", {{"filled", "source=" + file("filled.db")},
                                        {"empty", "source=" + file("empty.db")}});
        write_file(file("streams.xml"),
                   "<configuration instance_name=\"streams\" type=\"sqlite3\" "
                   "source_types=\"stream\" source_parameters=\"source=" +
                       file("streams.db") + "\"/>\n");
        std::string group = read_file(two_);
        group.replace(group.find("empty.xml"), 9, "streams.xml");
        write_file(file("mixed.xml"), group);
        mixed_ = file("mixed.xml");
        make_database("empty.db", "");
        make_database("streams.db", "");
        Outcome const stored = run({"--config", one_, "insert", "-"}, many_records());
        ASSERT_EQ(stored.status, 0) << stored.err;
    }

    std::string one_;
    std::string two_;
    std::string mixed_;
};

TEST_F(ToolStreaming, SelectPrintsTheBytesOfTheWholeReadInEveryFormat) {
    for (std::string const format : {"table", "json", "jsonl", "csv"}) {
        std::vector<std::string> const sorted{"--format", format, "--sort", "time", "select"};
        auto with = [&](std::string const& config, std::vector<std::string> more) {
            std::vector<std::string> args{"--config", config};
            args.insert(args.end(), sorted.begin(), sorted.end());
            args.insert(args.end(), more.begin(), more.end());
            return output_of(args);
        };
        std::string const whole = with(two_, {});
        EXPECT_GT(whole.size(), 2500u * 50) << format;  // every row is there
        EXPECT_EQ(with(mixed_, {}), whole) << format;
        EXPECT_EQ(with(mixed_, {"--limit", "1500"}), with(two_, {"--limit", "1500"})) << format;
    }
}

TEST_F(ToolStreaming, SelectOrderedByTimeInOneDatastoreKeepsTheFirstRowsOfThatOrder) {
    std::string const shuffled =
        json({{"Provider", "cpu_load"}, {"Hostname", "early"}, {"Timestamp", 1600000000}}).dump() +
        "\n";
    ASSERT_EQ(run({"--config", one_, "insert", "-"}, shuffled).status, 0);

    json const rows = json::parse(output_of(
        {"--config", one_, "--format", "json", "--sort", "time", "select", "--limit", "2"}));

    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0]["Hostname"], "early");
    EXPECT_EQ(rows[1]["Timestamp"], 1700000001);
}

TEST_F(ToolStreaming, SqlPrintsEveryBlockOfAnyColumns) {
    std::string const lines = output_of(
        {"--config", two_, "--format", "csv", "sql", "SELECT rowid, Duration FROM vexa_1"});

    std::string const first = "datastore,rowid,Duration\r\nfilled,1,0.1\r\nfilled,2,0.2\r\n";
    EXPECT_EQ(lines.substr(0, first.size()), first);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2501);
}

TEST_F(ToolStreaming, ADatastoreFailingHalfwayKeepsItsPrintedRowsAndExitsOne) {
    // abs() of the smallest integer overflows: the read fails at row 1,501
    // (rowid keeps SQLite from working the value out once before the rows).
    std::string const failing =
        "CASE WHEN rowid > 1500 THEN abs(rowid - rowid - 9223372036854775807 - 1) ELSE rowid END";

    Outcome const sql = run({"--config", two_, "--format", "jsonl", "sql",
                             "SELECT " + failing + " AS n FROM vexa_1 ORDER BY rowid"});
    EXPECT_EQ(sql.status, 1);
    EXPECT_EQ(std::count(sql.out.begin(), sql.out.end(), '\n'), 1000);
    EXPECT_EQ(sql.out.substr(0, 30), "{\"datastore\":\"filled\",\"n\":1}\n{");
    EXPECT_EQ(sql.err, "vexa-datastore: datastore \"filled\" failed to run the query \"SELECT " +
                           failing + " AS n FROM vexa_1 ORDER BY rowid\": integer overflow\n");

    Outcome const select = run({"--config", two_, "--format", "json", "select", "-w", failing});
    EXPECT_EQ(select.status, 1);
    // A whole document, closed, of the blocks that came before the failure
    // (how many depends on the order SQLite reads the rows in).
    json const printed = json::parse(select.out);
    EXPECT_EQ(printed.size() % 1000, 0u);
    EXPECT_EQ(select.err,
              "vexa-datastore: datastore \"filled\" failed to run the selection of \"cpu_load\", "
              "\"disk\" where \"" +
                  failing + "\": integer overflow\n");
}

}  // namespace
}  // namespace vexa::test
