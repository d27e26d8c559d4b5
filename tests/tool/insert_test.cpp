// insert and load-sql: bad lines are reported by number and the good ones
// stored; names holding a quote are refused.
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

TEST_F(ToolInScratchHome, InsertReportsBadLinesByNumberAndStoresTheGoodOnes) {
    std::string const records = file("records.jsonl");
    write_file(records, R"({"Provider": "p", "Hostname": "h1"})"
                        "\n"
                        R"({"Provider": "p", "Hostname": )"
                        "\n"
                        "\n"
                        R"({"Provider": "p", "Hostname": "h2", "Exit_status": 1})"
                        "\n"
                        R"({"Provider": "p", "Hostname": "h3", "Exitstatus": 1})"
                        "\n"
                        R"({"Provider": "p", "Hostname": "h4", "Exit_status": "1"})"
                        "\n"
                        R"({"Hostname": "h5"})"
                        "\n"
                        R"(["Provider", "p"])"
                        "\n"
                        R"({"Provider": "p", "Hostname": "h6", "num_nodes": -1})"
                        "\n"
                        R"({"Provider": "p", "Hostname": "h7", "Encoding": "gzip"})"
                        "\n");
    Outcome outcome = run({"insert", records});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("stored 2 records in vexa_default (" + default_description() + ")\n", outcome.out);
    std::string const prefix = "vexa-datastore: " + records + " line ";
    EXPECT_EQ(prefix +
                  "2 skipped: parse error at line 1, column 31: syntax error while parsing "
                  "value - unexpected end of input; expected '[', '{', or a literal\n" +
                  prefix + "5 skipped: unknown key \"Exitstatus\"\n" + prefix +
                  "6 skipped: \"Exit_status\" must be an integer from -2147483648 to 2147483647\n" +
                  prefix + "7 skipped: \"Provider\" is required\n" + prefix +
                  "8 skipped: a record must be a JSON object\n" + prefix +
                  "9 skipped: \"num_nodes\" must be an integer from 0 to 262144\n" + prefix +
                  "10 skipped: \"Encoding\" must be \"none\", \"base64\" or \"raw\"\n",
              outcome.err);
    json rows = json_of({"select", "-p", "p"});
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ("h1", rows[0]["Hostname"]);
    EXPECT_EQ("h2", rows[1]["Hostname"]);
    EXPECT_EQ(1, rows[1]["Exit_status"]);
    EXPECT_GT(rows[1]["Unique_timestamp"].get<std::int64_t>(),
              rows[0]["Unique_timestamp"].get<std::int64_t>())
        << "records without a unique time stamp get increasing ones";
}

TEST_F(ToolInScratchHome, InsertFillsNodeCountAndTimesWhenAbsent) {
    auto before = std::chrono::duration_cast<std::chrono::microseconds>(
                      std::chrono::system_clock::now().time_since_epoch())
                      .count();
    output_of({"insert"},
              R"({"Provider": "p", "Hostname": "h", "node_names": ["a", "b", "c"], "Encoding": 1})"
              "\n");
    json row = json_of({"latest", "-p", "p"}).at(0);
    EXPECT_EQ(3, row["num_nodes"]);
    EXPECT_EQ(json({"a", "b", "c"}), row["node_names"]);
    EXPECT_EQ("base64", row["Encoding"]);
    EXPECT_GE(row["Unique_timestamp"].get<std::int64_t>(), before);
    EXPECT_EQ(row["Unique_timestamp"].get<std::int64_t>() / 1000000, row["Timestamp"]);
}

TEST_F(ToolInScratchHome, InsertFromAMissingFileCreatesNothing) {
    Outcome outcome = run({"insert", file("missing.jsonl")});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(
        "vexa-datastore: cannot read " + file("missing.jsonl") + ": No such file or directory\n",
        outcome.err);
    EXPECT_FALSE(exists(default_database()));
    outcome = run({"insert", dir_.path()});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: cannot read " + dir_.path() + ": it is a directory\n", outcome.err);
}

TEST_F(ToolInScratchHome, InsertIntoAnUnknownDatastoreNamesIt) {
    Outcome outcome = run({"insert", "--datastore", "elsewhere"}, "{}\n");
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: unknown datastore \"elsewhere\" (open: \"vexa_default\")\n",
              outcome.err);
}

TEST_F(ToolInScratchHome, InsertStoresInTheFirstDatastoreThatAccepts) {
    make_database("ro.db", "");
    std::string config =
        write_config("two.xml", {{"ro", "source=" + file("ro.db") + "|read_only=true"},
                                 {"rw", "source=" + file("rw.db") + "|read_only=false"}});
    EXPECT_EQ("stored 1 record in rw (sqlite3 " + file("rw.db") + " (read-write))\n",
              output_of({"--config", config, "insert"}, R"({"Provider": "p", "Hostname": "h"})"
                                                        "\n"));
}

TEST_F(ToolInScratchHome, NamesHoldingAQuoteAreRefusedAndSkipped) {
    Outcome outcome = run({"insert"}, R"({"Provider": "x'y", "Hostname": "h"})"
                                      "\n"
                                      R"({"Provider": "p", "Hostname": "h'", "OptionID": "o"})"
                                      "\n"
                                      R"({"Provider": "p", "Hostname": "h", "OptionID": "o'"})"
                                      "\n"
                                      R"({"Provider": "p", "Hostname": "h", "node_names": ["a'"]})"
                                      "\n");
    EXPECT_EQ(1, outcome.status);
    std::string const why =
        " must not hold a single quote (names are written into the datastores' queries between "
        "single quotes)\n";
    EXPECT_EQ("vexa-datastore: standard input line 1 skipped: \"Provider\"" + why +
                  "vexa-datastore: standard input line 2 skipped: \"Hostname\"" + why +
                  "vexa-datastore: standard input line 3 skipped: \"OptionID\"" + why +
                  "vexa-datastore: standard input line 4 skipped: \"node_names[]\"" + why,
              outcome.err);

    // Stored by another program: summary goes on without it.
    make_database("quoted.db",
                  "INSERT INTO provider_datastore (Provider, Hostname, Exit_status, "
                  "Unique_timestamp) VALUES ('x''y', 'h', 0, 1), ('cpu_load', 'h', 0, 2);");
    std::string config =
        write_config("quoted_group.xml", {{"quoted", "source=" + file("quoted.db")}});
    outcome = run({"--config", config, "--format", "csv", "summary"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(
        "vexa-datastore: warning: skipped provider \"x'y\": a name holding a single quote cannot "
        "be queried\n",
        outcome.err);
    EXPECT_EQ("Provider,hosts,passed,failed,newest\r\ncpu_load,1,1,0,0\r\n", outcome.out);
}

TEST_F(ToolInScratchHome, UniqueTimestampsComeFromTheRecordsTimestamp) {
    output_of({"insert"}, R"({"Provider": "p", "Hostname": "h", "Timestamp": 1700000600})"
                          "\n");
    // An older result stored later does not become the latest.
    output_of({"insert"}, R"({"Provider": "p", "Hostname": "h", "Timestamp": 1700000000})"
                          "\n"
                          R"({"Provider": "p", "Hostname": "h", "Timestamp": 1700000000})"
                          "\n");
    json latest = json_of({"latest", "-p", "p"});
    ASSERT_EQ(1u, latest.size());
    EXPECT_EQ(1700000600000000, latest[0]["Unique_timestamp"]);
    std::set<std::int64_t> stamps;
    for (auto const& row : json_of({"select", "-p", "p"})) {
        stamps.insert(row["Unique_timestamp"].get<std::int64_t>());
    }
    EXPECT_EQ((std::set<std::int64_t>{1700000000000000, 1700000000000001, 1700000600000000}),
              stamps)
        << "unique within the run";
}

TEST_F(ToolInScratchHome, InsertInBatchesStillSkipsOnlyBadLines) {
    std::string lines;
    for (int i = 0; i < 7; ++i) {
        lines += i == 3 ? "{not json}\n"
                        : R"({"Provider": "p", "Hostname": "h)" + std::to_string(i) +
                              R"("})"
                              "\n";
    }
    Outcome outcome = run({"insert", "--batch", "2"}, lines);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("stored 6 records in vexa_default (" + default_description() + ")\n", outcome.out);
    EXPECT_EQ(0u, outcome.err.find("vexa-datastore: standard input line 4 skipped: "))
        << outcome.err;
    EXPECT_EQ(6u, json_of({"select"}).size());
}

// A file system of `size` (as tmpfs takes it: "1m") mounted on the directory
// `dir` for the life of the object: a real disk that fills up. Mounting
// needs root, as the suites run in CI.
class SmallFileSystem {
  public:
    SmallFileSystem(std::string dir, std::string const& size) : dir_(std::move(dir)) {
        mounted_ = mount("vexa-test", dir_.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
        EXPECT_TRUE(mounted_) << "cannot mount a tmpfs on " << dir_ << ": " << std::strerror(errno);
    }
    ~SmallFileSystem() {
        if (mounted_) {
            umount2(dir_.c_str(), MNT_DETACH);
        }
    }
    SmallFileSystem(SmallFileSystem const&) = delete;
    SmallFileSystem& operator=(SmallFileSystem const&) = delete;

    bool mounted() const { return mounted_; }

  private:
    std::string dir_;
    bool mounted_ = false;
};

TEST_F(ToolInScratchHome, ABatchLostToAFullDiskSaysWhy) {
    SmallFileSystem const disk(home_, "1m");
    ASSERT_TRUE(disk.mounted());
    output_of({"insert"}, R"({"Provider": "p", "Hostname": "first"})"
                          "\n");
    std::string lines;
    std::string const text(600, 'x');
    for (int i = 0; i < 2000; ++i) {
        lines += R"({"Provider": "p", "Hostname": "h)" + std::to_string(i) + R"(", "STDOUT": ")" +
                 text + "\"}\n";
    }
    write_file(file("runs.jsonl"), lines);  // beside the small disk, not on it

    // The batch needs more than the megabyte the disk has.
    Outcome const outcome = run({"insert", "--batch", "2000", file("runs.jsonl")});

    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(
        "vexa-datastore: datastore \"vexa_default\" failed to run the commit of its last 2000 "
        "records (they are not stored): batch rolled back: database or disk is full\n",
        outcome.err);
    EXPECT_EQ(1u, json_of({"select"}).size());
}

// Records go to the first datastore that takes them. When its commit fails
// for want of room, the insert stops there and says what each datastore
// holds, which batch was lost and why, and where in the input it stopped.
TEST_F(ToolInScratchHome, ACommitLostInOneOfTwoDatastoresSaysWhatIsStoredWhere) {
    std::string const small_dir = file("small");
    ASSERT_EQ(0, mkdir(small_dir.c_str(), 0700));
    SmallFileSystem const disk(small_dir, "1m");
    ASSERT_TRUE(disk.mounted());
    std::string const config =
        write_config("two.xml", {{"cramped", "source=" + small_dir + "/cramped.db"},
                                 {"roomy", "source=" + file("roomy.db")}});
    std::string lines;
    std::string const text(600, 'x');
    for (int i = 0; i < 2000; ++i) {
        lines += R"({"Provider": "p", "Hostname": "h)" + std::to_string(i) + R"(", "STDOUT": ")" +
                 text + "\"}\n";
    }
    write_file(file("runs.jsonl"), lines);

    Outcome const outcome =
        run({"--config", config, "insert", "--batch", "500", file("runs.jsonl")});

    // Two batches fitted, the third did not; the fourth was never read.
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(
        "stored 1000 records in cramped (sqlite3 " + small_dir + "/cramped.db (read-write))\n",
        outcome.out);
    EXPECT_EQ(
        "vexa-datastore: datastore \"cramped\" failed to run the commit of its last 500 "
        "records (they are not stored): batch rolled back: database or disk is full; "
        "stopped after " +
            file("runs.jsonl") + " line 1500, the lines after it were not read\n",
        outcome.err);
    EXPECT_EQ("datastore,n\r\ncramped,1000\r\nroomy,0\r\n",
              output_of({"--config", config, "--format", "csv", "sql",
                         "SELECT count(*) AS n FROM vexa_1"}));
}

TEST_F(ToolInScratchHome, LoadSqlReportsTheFailingLineAndTheMissingScript) {
    std::string const script = file("bad.sql");
    write_file(script, "CREATE TABLE t (a INTEGER);\nINSERT INTO t VALUES (1,\n");
    Outcome outcome = run({"load-sql", script, file("t.db")});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: " + script + " line 2: incomplete input: INSERT INTO t VALUES (1,\n",
              outcome.err);
    EXPECT_FALSE(exists(file("t.db"))) << "a database the load created is removed";

    outcome = run({"load-sql", file("absent.sql"), file("never.db")});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: cannot read SQL script " + file("absent.sql") +
                  ": No such file or directory\n",
              outcome.err);
    EXPECT_FALSE(exists(file("never.db")));
}

}  // namespace
}  // namespace vexa::test
