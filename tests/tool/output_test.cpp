// The output forms: tables on a terminal and in a pipe, CSV, JSON and JSON
// Lines, times and wide characters, and the memory that writing them takes.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "pseudo_terminal.h"
#include "tool_fixture.h"

namespace vexa::test {
namespace {

TEST_F(ToolWithKnownRows, TableShowsTheScannedColumnsWithReadableTimes) {
    EXPECT_EQ(
        "Provider  Hostname  Exit_status  Timestamp                STDOUT               STDERR\n"
        "--------  --------  -----------  -----------------------  -------------------  "
        "-------------\n"
        "cpu_load  node001             1  2023-11-14 22:23:20 UTC  load average: 99.00  load too "
        "high\n"
        "cpu_load  node002             0  2023-11-14 22:14:20 UTC  load average: 1.00\n",
        output_of({"latest", "-p", "cpu_load"}));
}

TEST_F(ToolWithKnownRows, CsvHasEveryColumn) {
    EXPECT_EQ(
        "rowid,Provider,Hostname,num_nodes,node_names,Exit_status,Timestamp,Duration,Encoding,"
        "STDOUT,STDERR,OptionID,version,Username,Unique_timestamp,datastore_source\r\n"
        "3,cpu_load,node001,1,node001,1,1700000600,0.75,none,load average: 99.00,load too high,"
        "default,1,ann,1700000600000000,vexa_default\r\n",
        output_of({"--format", "csv", "latest", "-p", "cpu_load", "-H", "node001"}));
}

TEST_F(ToolWithKnownRows, JsonLinesOutputCanBeStoredAgain) {
    std::string lines = output_of({"--format", "jsonl", "select", "--sort", "time"});
    ASSERT_EQ(4, std::count(lines.begin(), lines.end(), '\n'));
    TempDir other_home;
    Outcome stored = run_tool({"insert"}, lines,
                              {{"HOME", other_home.path()}, {"TZ", "UTC"}, {"USER", "tester"}});
    EXPECT_EQ(0, stored.status) << stored.err;
    Outcome again = run_tool({"--format", "jsonl", "select", "--sort", "time"}, "",
                             {{"HOME", other_home.path()}, {"TZ", "UTC"}});
    EXPECT_EQ(0, again.status) << again.err;
    // The same records, numbered anew by the other datastore.
    auto without_rowids = [](std::string const& text) {
        std::vector<json> rows;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) {
            rows.push_back(json::parse(line));
            rows.back().erase("rowid");
        }
        return rows;
    };
    EXPECT_EQ(without_rowids(lines), without_rowids(again.out));
    EXPECT_EQ(json::parse(lines.substr(0, lines.find('\n'))),
              json_of({"select", "--sort", "time"})[0])
        << "one JSON Lines record is one JSON array element";
}

TEST_F(ToolInScratchHome, CsvQuotesFieldsAsRfc4180Says) {
    output_of(
        {"insert"},
        R"({"Provider": "p", "Hostname": "h", "STDOUT": "a,b", "STDERR": "say \"hi\"\nbye", "OptionID": "plain", "Timestamp": 1, "Unique_timestamp": 2})"
        "\n");
    EXPECT_EQ(
        "rowid,Provider,Hostname,num_nodes,node_names,Exit_status,Timestamp,Duration,Encoding,"
        "STDOUT,STDERR,OptionID,version,Username,Unique_timestamp,datastore_source\r\n"
        "1,p,h,0,,0,1,0.0,none,\"a,b\",\"say \"\"hi\"\"\nbye\",plain,0,,2,vexa_default\r\n",
        output_of({"--format", "csv", "latest", "-p", "p"}));
}

TEST_F(ToolInScratchHome, TablesFitTheWidthAndShortenLongTexts) {
    std::string long_text(300, 'x');
    output_of({"insert"},
              R"({"Provider": "p", "Hostname": "h", "Timestamp": 1700000000, "STDOUT": ")" +
                  long_text + R"(", "STDERR": "line one\nline two\nline three"})" + "\n");
    // On a terminal, lines end in CR LF.
    auto on_terminal = [&](std::vector<std::string> const& args, std::string const& columns) {
        PseudoTerminal terminal;
        Outcome outcome = run(args, "", {{"COLUMNS", columns}}, -1, terminal.side());
        EXPECT_EQ(0, outcome.status) << outcome.err;
        std::string shown = terminal.shown();
        shown.erase(std::remove(shown.begin(), shown.end(), '\r'), shown.end());
        return shown;
    };
    std::string const fitted =
        "Provider  Hostname  Exit_status  Timestamp                STDOUT      STDERR\n"
        "--------  --------  -----------  -----------------------  ----------  ----------\n"
        "p         h                   0  2023-11-14 22:13:20 UTC  xxxxxxxxx\u2026  line "
        "one \u2026\n";
    EXPECT_EQ(fitted, on_terminal({"latest", "-p", "p"}, "80"));
    // Too narrow for anything: every column shortened to five, lines overflow.
    EXPECT_EQ(
        "Prov\u2026  Host\u2026  Exit\u2026  Time\u2026  STDO\u2026  STDE\u2026\n"
        "-----  -----  -----  -----  -----  -----\n"
        "p      h          0  2023\u2026  xxxx\u2026  line\u2026\n",
        on_terminal({"latest", "-p", "p"}, "20"));

    // --wide, or output that is not a terminal, is never cut.
    std::string const whole_table =
        "Provider  Hostname  Exit_status  Timestamp                STDOUT" +
        std::string(300 - 6 + 2, ' ') + "STDERR\n" +
        "--------  --------  -----------  -----------------------  " + std::string(300, '-') +
        "  ----------------------------\n" +
        "p         h                   0  2023-11-14 22:13:20 UTC  " + long_text +
        "  line one line two line three\n";
    EXPECT_EQ(whole_table, on_terminal({"latest", "-p", "p", "--wide"}, "80"));
    Outcome outcome = run({"latest", "-p", "p"}, "", {{"COLUMNS", "80"}});
    EXPECT_EQ(whole_table, outcome.out);

    json whole = json_of({"latest", "-p", "p"});
    EXPECT_EQ(long_text, whole[0]["STDOUT"]);
    EXPECT_EQ("line one\nline two\nline three", whole[0]["STDERR"]);
}

TEST_F(ToolInScratchHome, JsonKeepsBytesThatAreNotUtf8Readable) {
    make_database("bytes.db",
                  "INSERT INTO provider_datastore (Provider, Hostname, STDOUT, Unique_timestamp) "
                  "VALUES ('p', 'h', CAST(X'61FF62' AS TEXT), 1);");
    std::string config = write_config(
        "bytes_group.xml", {{"bytes", "source=" + file("bytes.db") + "|read_only=true"}});
    json rows = json_of({"--config", config, "latest", "-p", "p"});
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ("a\uFFFDb", rows[0]["STDOUT"]);
}

TEST_F(ToolWithKnownRows, JsonAndJsonLinesAreWrittenExactly) {
    std::vector<std::string> const args{"latest", "-p", "cpu_load", "-H", "node001"};
    std::vector<std::string> json_args{"--format", "json"};
    json_args.insert(json_args.end(), args.begin(), args.end());
    EXPECT_EQ(
        "[\n"
        "  {\n"
        "    \"rowid\": 3,\n"
        "    \"Provider\": \"cpu_load\",\n"
        "    \"Hostname\": \"node001\",\n"
        "    \"num_nodes\": 1,\n"
        "    \"node_names\": [\n"
        "      \"node001\"\n"
        "    ],\n"
        "    \"Exit_status\": 1,\n"
        "    \"Timestamp\": 1700000600,\n"
        "    \"Duration\": 0.75,\n"
        "    \"Encoding\": \"none\",\n"
        "    \"STDOUT\": \"load average: 99.00\",\n"
        "    \"STDERR\": \"load too high\",\n"
        "    \"OptionID\": \"default\",\n"
        "    \"version\": 1,\n"
        "    \"Username\": \"ann\",\n"
        "    \"Unique_timestamp\": 1700000600000000,\n"
        "    \"datastore_source\": \"vexa_default\"\n"
        "  }\n"
        "]\n",
        output_of(json_args));
    std::vector<std::string> lines_args{"--format", "jsonl"};
    lines_args.insert(lines_args.end(), args.begin(), args.end());
    EXPECT_EQ(
        R"({"rowid":3,"Provider":"cpu_load","Hostname":"node001","num_nodes":1,)"
        R"("node_names":["node001"],"Exit_status":1,"Timestamp":1700000600,"Duration":0.75,)"
        R"("Encoding":"none","STDOUT":"load average: 99.00","STDERR":"load too high",)"
        R"("OptionID":"default","version":1,"Username":"ann","Unique_timestamp":1700000600000000,)"
        R"("datastore_source":"vexa_default"})"
        "\n",
        output_of(lines_args));
}

// A table's columns are as wide as its first 1,000 rows need; later rows are
// written as they come, so a longer text in them is left whole when piped
// and shortened only on a terminal.
TEST_F(ToolInScratchHome, LongTablesTakeTheWidthsOfTheirFirstThousandRows) {
    std::string records;
    for (int i = 1; i <= 1001; ++i) {
        char host[8];
        std::snprintf(host, sizeof host, "h%04d", i);
        records += json({{"Provider", "p"},
                         {"Hostname", host},
                         {"Timestamp", 1700000000 + i},
                         {"STDOUT", i == 1001 ? "a longer output" : "ok"},
                         {"STDERR", "e"}})
                       .dump() +
                   "\n";
    }
    output_of({"insert"}, records);
    auto lines_of = [](std::string const& text) {
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
        return lines;
    };
    auto lines = lines_of(output_of({"select", "--sort", "time"}));
    ASSERT_EQ(1003u, lines.size());
    EXPECT_EQ("Provider  Hostname  Exit_status  Timestamp                STDOUT  STDERR", lines[0]);
    EXPECT_EQ("--------  --------  -----------  -----------------------  ------  ------", lines[1]);
    EXPECT_EQ("p         h0001               0  2023-11-14 22:13:21 UTC  ok      e", lines[2]);
    EXPECT_EQ("p         h1000               0  2023-11-14 22:30:00 UTC  ok      e", lines[1001]);
    EXPECT_EQ("p         h1001               0  2023-11-14 22:30:01 UTC  a longer output  e",
              lines[1002]);

    PseudoTerminal terminal;
    Outcome outcome = run({"select", "--sort", "time"}, "", {}, -1, terminal.side());
    EXPECT_EQ(0, outcome.status) << outcome.err;
    std::string shown = terminal.shown();
    shown.erase(std::remove(shown.begin(), shown.end(), '\r'), shown.end());
    lines = lines_of(shown);
    ASSERT_EQ(1003u, lines.size());
    EXPECT_EQ("p         h1001               0  2023-11-14 22:30:01 UTC  a lon\u2026  e",
              lines[1002]);
}

// The library hands the tool every row at once; writing them, in any
// format, holds little more than that, not a second copy of their texts.
TEST_F(ToolInScratchHome, LongOutputsTakeLittleMoreMemoryThanTheirRows) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "AddressSanitizer keeps freed memory in quarantine, so the resident set "
                    "measures what was ever allocated";
#endif
    // A child's peak counts its parent's memory at the fork, so this process
    // writes the records line by line instead of holding them.
    std::string const output(2000, 'o');
    std::string const records = file("records.jsonl");
    {
        std::ofstream lines(records);
        for (int i = 0; i < 10000; ++i) {
            lines << json({{"Provider", "p"},
                           {"Hostname", "h" + std::to_string(i)},
                           {"Timestamp", 1700000000 + i},
                           {"STDOUT", output}})
                         .dump()
                  << "\n";
        }
    }
    output_of({"insert", records});
    int null = open("/dev/null", O_WRONLY);
    ASSERT_GE(null, 0);
    Outcome first_row = run({"select", "--limit", "1"}, "", {}, -1, null);
    EXPECT_EQ(0, first_row.status);
    for (std::string format : {"table", "json", "jsonl", "csv"}) {
        Outcome every_row = run({"--format", format, "select"}, "", {}, -1, null);
        EXPECT_EQ(0, every_row.status) << format;
        // The 20 MB of outputs, held twice, would add 20,000 KiB.
        EXPECT_LT(every_row.peak_kib, first_row.peak_kib + 8000)
            << format << "; select --limit 1: " << first_row.peak_kib << " KiB";
    }
    close(null);
}

TEST_F(ToolInScratchHome, TimesAreLocalWithTheirZoneOrUtc) {
    output_of({"insert"}, R"({"Provider": "p", "Hostname": "h", "Timestamp": 1700000000})"
                          "\n");
    Outcome local = run({"latest", "-p", "p"}, "", {{"TZ", "Europe/Berlin"}});
    EXPECT_NE(std::string::npos, local.out.find("  2023-11-14 23:13:20 CET\n")) << local.out;
    Outcome utc = run({"--utc", "latest", "-p", "p"}, "", {{"TZ", "Europe/Berlin"}});
    EXPECT_NE(std::string::npos, utc.out.find("  2023-11-14 22:13:20 UTC\n")) << utc.out;
    Outcome json_times =
        run({"--format", "json", "latest", "-p", "p"}, "", {{"TZ", "Europe/Berlin"}});
    EXPECT_EQ(1700000000, json::parse(json_times.out)[0]["Timestamp"]);
}

TEST_F(ToolInScratchHome, WideCharactersKeepColumnsAligned) {
    output_of(
        {"insert"},
        R"({"Provider": "p", "Hostname": "h1", "Timestamp": 1700000000, "STDOUT": "日本語", "STDERR": "x"})"
        "\n"
        R"({"Provider": "p", "Hostname": "h2", "Timestamp": 1700000000, "STDOUT": "ok 🙂", "STDERR": "y"})"
        "\n"
        R"({"Provider": "p", "Hostname": "h3", "Timestamp": 1700000000, "STDOUT": "e\u0301", "STDERR": "z"})"
        "\n");
    EXPECT_EQ(
        "Provider  Hostname  Exit_status  Timestamp                STDOUT  STDERR\n"
        "--------  --------  -----------  -----------------------  ------  ------\n"
        "p         h1                  0  2023-11-14 22:13:20 UTC  日本語  x\n"
        "p         h2                  0  2023-11-14 22:13:20 UTC  ok 🙂   y\n"
        "p         h3                  0  2023-11-14 22:13:20 UTC  e\u0301       z\n",
        output_of({"latest", "-p", "p"}));
}

}  // namespace
}  // namespace vexa::test
