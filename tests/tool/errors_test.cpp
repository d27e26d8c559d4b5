// Failures a user can meet: datastores that are read-only, locked, not
// permitted, missing or unusable, and outputs that cannot be written.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

TEST_F(ToolInScratchHome, AReadOnlyDatastoreStopsInsertAndDemoAtTheFirstRecord) {
    make_database("ro.db", "");
    std::string config =
        write_config("ro_group.xml", {{"ro", "source=" + file("ro.db") + "|read_only=true"}});
    Outcome outcome = run({"--config", config, "insert"}, R"({"Provider": "p", "Hostname": "h"})"
                                                          "\n"
                                                          R"({"Provider": "p", "Hostname": "h"})"
                                                          "\n");
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("stored no records\n", outcome.out);
    EXPECT_EQ(
        "vexa-datastore: standard input line 1: no datastore stored the record (tried \"ro\" "
        "(sqlite3 " +
            file("ro.db") + " (read-only)))\n",
        outcome.err);
    outcome = run({"--config", config, "demo"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("vexa-datastore: no datastore stored the demo results (tried \"ro\" (sqlite3 " +
                  file("ro.db") + " (read-only)))\n",
              outcome.err);
}

TEST_F(ToolInScratchHome, ALockedDatastoreIsReportedAsLockedNotReadOnly) {
    // Only a file still being created needs the write lock to open: another
    // writer holds it for as long as the tool waits (the plug-in's busy
    // timeout), so the tool's writable open cannot finish.
    std::filesystem::create_directories(std::filesystem::path(default_database()).parent_path());
    close(open(default_database().c_str(), O_CREAT | O_WRONLY, 0644));
    sqlite3* writer = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(default_database().c_str(), &writer));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(writer, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr));
    Outcome outcome = run({"insert"}, R"({"Provider": "p", "Hostname": "h"})"
                                      "\n");
    sqlite3_exec(writer, "ROLLBACK;", nullptr, nullptr, nullptr);
    sqlite3_close(writer);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("vexa-datastore: cannot open datastore \"vexa_default\" at " + default_database() +
                  ": database is locked\n",
              outcome.err);
}

// Root opens any file, so the tool runs as the unprivileged account.
TEST_F(ToolInScratchHome, AFileTheUserMayNotOpenIsReportedAsPermissionDenied) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "running the tool as another user needs root";
    }
    ASSERT_EQ(0, chmod(dir_.path().c_str(), 0755));
    make_database("secret.db", "");
    ASSERT_EQ(0, chmod(file("secret.db").c_str(), 0600));
    std::string const config =
        write_config("secret_group.xml", {{"secret", "source=" + file("secret.db")}});
    for (std::string command : {"summary", "insert"}) {
        Outcome outcome = run({"--config", config, command}, "", {}, -1, -1, kNobody);
        EXPECT_EQ(1, outcome.status) << command;
        EXPECT_EQ("vexa-datastore: cannot open datastore \"secret\" at " + file("secret.db") +
                      ": Permission denied\n",
                  outcome.err);
        EXPECT_EQ("", outcome.out);
    }

    // Readable but not writable: reading answers, writing says why, and -v
    // adds the plug-in's line before the same one.
    ASSERT_EQ(0, chmod(file("secret.db").c_str(), 0644));
    EXPECT_EQ(0, run({"--config", config, "providers"}, "", {}, -1, -1, kNobody).status);
    std::string const refused = "cannot open datastore \"secret\" at " + file("secret.db") +
                                ": attempt to write a readonly database\n";
    Outcome outcome = run({"--config", config, "insert"}, "", {}, -1, -1, kNobody);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: " + refused, outcome.err);
    outcome = run({"--config", config, "-v", "insert"}, "", {}, -1, -1, kNobody);
    EXPECT_EQ("sqlite3 " + file("secret.db") + ": attempt to write a readonly database\n" +
                  "vexa-datastore: " + refused,
              outcome.err);
}

TEST_F(ToolInScratchHome, ADatastorePathWithABlankNamesOneFile) {
    std::string const home = file("my home");
    ASSERT_EQ(0, mkdir(home.c_str(), 0700));
    std::string const database = home + "/.vexa/2021.4.0/vexa.db";
    Outcome outcome = run({"providers"}, "", {{"HOME", home}});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: cannot open datastore \"vexa_default\" at " + database +
                  ": it does not exist yet (create it with \"vexa-datastore demo\" or "
                  "\"vexa-datastore insert\")\n",
              outcome.err);
    outcome = run({"insert"},
                  R"({"Provider": "p", "Hostname": "h", "Timestamp": 1700000000})"
                  "\n",
                  {{"HOME", home}});
    EXPECT_EQ("stored 1 record in vexa_default (sqlite3 " + database + " (read-write))\n",
              outcome.out);
    outcome = run({"--format", "csv", "providers"}, "", {{"HOME", home}});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("Provider,records,newest\r\np,1,1700000000\r\n", outcome.out);

    // Variables in a configured path are expanded as the plug-in expands them.
    std::string const config =
        write_config("variables.xml", {{"spaced", "source=${TOOL_DATA}/my store.db"}});
    outcome = run({"--config", config, "providers"}, "", {{"TOOL_DATA", dir_.path()}});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: cannot open datastore \"spaced\" at " + file("my store.db") +
                  ": No such file or directory\n",
              outcome.err);
}

TEST_F(ToolInScratchHome, AnUnusableDatabasePathNamesTheDatastoreAndThePath) {
    std::string const not_a_directory = file("plain_file");
    write_file(not_a_directory, "");
    std::string const database = not_a_directory + "/.vexa/2021.4.0/vexa.db";
    std::string const message = "vexa-datastore: cannot open datastore \"vexa_default\" at " +
                                database + ": cannot create directory " + not_a_directory +
                                "/.vexa/2021.4.0: Not a directory";
    Outcome outcome = run({"insert"}, "", {{"HOME", not_a_directory}});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(message + "\n", outcome.err);
    outcome = run({"-v", "insert"}, "", {{"HOME", not_a_directory}});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(message + "\n", outcome.err.substr(outcome.err.find('\n') + 1));
    EXPECT_EQ(0u, outcome.err.find("sqlite3 " + database + ": ")) << outcome.err;
}

TEST_F(ToolWithKnownRows, AnOutputThatCannotBeWrittenFailsTheCommand) {
    for (std::vector<std::string> args : {std::vector<std::string>{"summary"},
                                          {"--format", "json", "select"},
                                          {"--format", "jsonl", "latest"},
                                          {"--format", "csv", "hosts"},
                                          {"providers"},
                                          {"--help"},
                                          {"latest", "--help"},
                                          {"--version"}}) {
        int full = open("/dev/full", O_WRONLY);
        ASSERT_GE(full, 0);
        Outcome outcome = run(args, "", {}, -1, full);
        close(full);
        EXPECT_EQ(1, outcome.status) << args.back();
        EXPECT_EQ("vexa-datastore: cannot write the output: No space left on device\n",
                  outcome.err);
    }
}

TEST_F(ToolWithKnownRows, ADatastoreThatDoesNotOpenIsAWarningAndTheOthersAnswer) {
    std::string config = write_config(
        "one_lost.xml", {{"vexa_default", "source=" + default_database()},
                         {"lost", "source=" + file("absent/lost.db") + "|read_only=true"}});
    Outcome outcome = run({"--config", config, "--format", "json", "latest", "-p", "cpu_load"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(json({kLatestNode001, kNode002}), json::parse(outcome.out));
    EXPECT_EQ("vexa-datastore: warning: cannot open datastore \"lost\" at " +
                  file("absent/lost.db") + ": No such file or directory (going on without it)\n",
              outcome.err);
}

}  // namespace
}  // namespace vexa::test
