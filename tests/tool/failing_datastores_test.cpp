// A datastore that fails while answering: every command prints the rows of
// the others, names it on standard error with SQLite's reason and exits with
// 1; check is UNKNOWN. Source parameters a plug-in would refuse are refused
// alike for reading and writing; a datastore that does not open makes insert
// fail too.
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

// "good" holds the known results; "broken" is an SQLite file without the
// view, so it opens but every read of it fails.
class ToolWithABrokenDatastore : public ToolInScratchHome {
  protected:
    void SetUp() override {
        ToolInScratchHome::SetUp();
        write_file(file("broken.sql"), "CREATE TABLE unrelated(a INTEGER);\n");
        output_of({"load-sql", file("broken.sql"), file("broken.db")});
        std::string const good =
            write_config("good_group.xml", {{"good", "source=" + file("good.db")}});
        output_of({"--config", good, "insert"}, kKnownRecords);
        config_ = write_config("both.xml", {{"good", "source=" + file("good.db")},
                                            {"broken", "source=" + file("broken.db")}});
    }

    std::string config_;
};

constexpr char kProvidersFailure[] =
    "vexa-datastore: datastore \"broken\" failed to run the list of providers: no such table: "
    "vexa_1\n";

TEST_F(ToolWithABrokenDatastore, LatestPrintsTheRowsOfTheOthersAndNamesTheFailure) {
    std::string const alone = output_of(
        {"--config", write_config("good_only.xml", {{"good", "source=" + file("good.db")}}),
         "--format", "jsonl", "latest"});
    Outcome const outcome = run({"--config", config_, "--format", "jsonl", "latest"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(alone, outcome.out);
    EXPECT_EQ(kProvidersFailure, outcome.err);
}

TEST_F(ToolWithABrokenDatastore, SelectNamesTheFailedSelection) {
    Outcome const outcome =
        run({"--config", config_, "--format", "jsonl", "select", "-p", "cpu_load"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(3u,
              static_cast<std::size_t>(std::count(outcome.out.begin(), outcome.out.end(), '\n')))
        << outcome.out;
    EXPECT_EQ(kProvidersFailure, outcome.err);
}

TEST_F(ToolWithABrokenDatastore, MetricsSayADatastoreThatFailsToAnswerIsDown) {
    Outcome const outcome = run({"--config", config_, "metrics"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_NE(std::string::npos, outcome.out.find("vexa_datastore_up{datastore=\"good\"} 1\n"))
        << outcome.out;
    EXPECT_NE(std::string::npos, outcome.out.find("vexa_datastore_up{datastore=\"broken\"} 0\n"))
        << outcome.out;
    EXPECT_EQ(kProvidersFailure, outcome.err);
}

TEST_F(ToolWithABrokenDatastore, SqlAndHostsNameTheirRequest) {
    Outcome const sql =
        run({"--config", config_, "--format", "csv", "sql", "SELECT count(*) AS n FROM vexa_1"});
    EXPECT_EQ(1, sql.status);
    EXPECT_EQ("datastore,n\r\ngood,4\r\n", sql.out);
    EXPECT_EQ(
        "vexa-datastore: datastore \"broken\" failed to run the query \"SELECT count(*) AS n FROM "
        "vexa_1\": no such table: vexa_1\n",
        sql.err);
    Outcome const hosts = run({"--config", config_, "--format", "jsonl", "hosts"});
    EXPECT_EQ(1, hosts.status);
    EXPECT_NE(std::string::npos, hosts.out.find("\"node001\"")) << hosts.out;
    EXPECT_EQ(
        "vexa-datastore: datastore \"broken\" failed to run the hosts query: no such table: "
        "vexa_1\n",
        hosts.err);
}

TEST_F(ToolWithABrokenDatastore, CheckIsUnknownNamingTheDatastoreAndItsReason) {
    Outcome const outcome = run({"--config", config_, "check"});
    EXPECT_EQ(3, outcome.status);
    EXPECT_EQ(
        "VEXA UNKNOWN - datastore \"broken\" failed to run the list of providers: no such table: "
        "vexa_1\n",
        outcome.out);
    EXPECT_EQ("", outcome.err);
}

TEST_F(ToolWithABrokenDatastore, WhenNoDatastoreAnswersOnlyTheFailuresArePrinted) {
    std::string const broken =
        write_config("broken_only.xml", {{"broken", "source=" + file("broken.db")}});
    Outcome const outcome = run({"--config", broken, "latest", "-p", "cpu_load"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(kProvidersFailure, outcome.err);
}

TEST_F(ToolWithKnownRows, AMisspeltSourceKeyIsRefusedForReadingNotReadFromTheDefaultFile) {
    std::string const config =
        write_config("typo_group.xml", {{"typo", "sorce=" + file("elsewhere.db")}});
    Outcome const outcome = run({"--config", config, "latest"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("vexa-datastore: cannot open datastore \"typo\" at sorce=" + file("elsewhere.db") +
                  ": unknown source key 'sorce'; did you mean 'source'?\n",
              outcome.err);
}

TEST_F(ToolInScratchHome, InsertWithADatastoreThatDidNotOpenExitsWithOne) {
    std::string const config = write_config(
        "two.xml", {{"good", "source=" + file("good.db")}, {"typo", "sorce=" + file("x.db")}});
    Outcome const outcome = run({"--config", config, "insert"}, kKnownRecords);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("stored 4 records in good (sqlite3 " + file("good.db") + " (read-write))\n",
              outcome.out);
    EXPECT_EQ("vexa-datastore: warning: cannot open datastore \"typo\" at sorce=" + file("x.db") +
                  ": unknown source key 'sorce'; did you mean 'source'? (going on without it)\n",
              outcome.err);
}

TEST_F(ToolWithKnownRows, ATimeLimitLeavesAnsweringDatastoresAlone) {
    std::string const unlimited = output_of({"--format", "jsonl", "latest"});
    EXPECT_EQ(unlimited, output_of({"--timeout", "5", "--format", "jsonl", "latest"}));
    Outcome const zero = run({"--timeout", "0", "latest"});
    EXPECT_EQ(2, zero.status);
    EXPECT_NE(std::string::npos, zero.err.find("--timeout")) << zero.err;
}

TEST_F(ToolWithKnownRows, CheckTakesATimeLimit) {
    Outcome const outcome = run({"check", "-t", "5", "--stale", "52w"});
    EXPECT_EQ(0u, outcome.out.rfind("VEXA ", 0)) << outcome.out;
    EXPECT_EQ(std::string::npos, outcome.out.find("UNKNOWN")) << outcome.out;
    Outcome const bad = run({"check", "--timeout", "soon"});
    EXPECT_EQ(3, bad.status);
    EXPECT_EQ(0u, bad.out.rfind("VEXA UNKNOWN - ", 0)) << bad.out;
    EXPECT_NE(std::string::npos, bad.out.find("--timeout")) << bad.out;
}

}  // namespace
}  // namespace vexa::test
