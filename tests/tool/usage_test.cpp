// The tool's version, help and usage errors.
#include <string>
#include <vector>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

TEST_F(ToolInScratchHome, VersionPrintsTheReleaseVersion) {
    Outcome outcome = run({"--version"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("vexa-datastore 2021.4.0\n", outcome.out);
}

TEST_F(ToolInScratchHome, EveryCommandHasHelpWithAnExample) {
    for (std::string command : {"demo", "summary", "latest", "select", "hosts", "sql", "insert",
                                "datastores", "load-sql"}) {
        Outcome outcome = run({command, "--help"});
        EXPECT_EQ(0, outcome.status) << command;
        EXPECT_NE(std::string::npos, outcome.out.find("Example:\n  ")) << command;
        EXPECT_NE(std::string::npos, outcome.out.find("vexa-datastore " + command)) << command;
    }
    Outcome outcome = run({"--help"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_NE(std::string::npos, outcome.out.find("Example:\n  vexa-datastore demo"));
}

TEST_F(ToolInScratchHome, UsageErrorsExitWithStatusTwoAndOneLine) {
    struct Case {
        std::vector<std::string> args;
        std::string message;
    };
    std::vector<Case> const cases{
        {{}, "a command is required (see --help)"},
        {{"frobnicate"}, "unknown command 'frobnicate' (see --help)"},
        {{"sumary"}, "unknown command 'sumary'; did you mean 'summary'?"},
        {{"--format", "xml", "hosts"}, "--format: xml not in {table,json,jsonl,csv} (see --help)"},
        {{"--sort", "name", "hosts"}, "--sort: name not in {time} (see --help)"},
        {{"latest", "-p", " "}, "--provider: a name must not be blank (see --help)"},
        {{"latest", "-p", "x') OR ('1'='1"},
         "--provider: a name must not hold a single quote (the datastores' queries cannot carry "
         "it) (see --help)"},
        {{"summary", "-H", "node'1"},
         "--host: a name must not hold a single quote (the datastores' queries cannot carry it) "
         "(see --help)"},
        {{"stale"}, "--older-than is required (see --help)"},
        {{"stale", "--older-than", "15x"},
         "--older-than: \"15x\" is not a duration (a number and s, m, h, d or w, e.g. 15m or 30d)"},
        {{"select", "--since", "yesterday"},
         "--since: \"yesterday\" is neither a duration (15m, 30d) nor a date (2026-11-22, "
         "2026-11-22 04:21:59)"},
        {{"prune"}, "--older-than is required (see --help)"},
        {{"demo", "--hosts", "0"}, "--hosts: Value 0 not in range 1 to 999 (see --help)"},
        {{"demo", "--providers", "10"}, "--providers: Value 10 not in range 1 to 9 (see --help)"},
        {{"sql"}, "query is required (see --help)"},
        {{"load-sql", "only-one"}, "database is required (see --help)"},
        {{"sql", "  "}, "the query is empty"},
    };
    for (auto const& c : cases) {
        Outcome outcome = run(c.args);
        EXPECT_EQ(2, outcome.status) << c.message;
        EXPECT_EQ("vexa-datastore: " + c.message + "\n", outcome.err);
        EXPECT_EQ("", outcome.out);
    }
    EXPECT_FALSE(exists(default_database())) << "a usage error must not create the datastore";
}

TEST_F(ToolInScratchHome, GlobalOptionsMayFollowTheCommand) {
    output_of({"insert"}, "");
    EXPECT_EQ("[]\n", output_of({"latest", "--format", "json"}));
}

TEST_F(ToolInScratchHome, EveryCommandsHelpShowsTheGlobalOptions) {
    for (std::string command : {"demo", "summary", "latest", "host", "select", "hosts", "providers",
                                "stale", "sql", "insert", "prune", "datastores", "load-sql"}) {
        Outcome outcome = run({command, "--help"});
        EXPECT_EQ(0, outcome.status) << command;
        EXPECT_NE(std::string::npos,
                  outcome.out.find("Global options (before or after the command):\n"
                                   "  --config FILE "))
            << command;
        EXPECT_NE(std::string::npos, outcome.out.find("  --format table|json|jsonl|csv\n"))
            << command;
    }
    EXPECT_NE(std::string::npos,
              run({"insert", "--help"})
                  .out.find("without Unique_timestamp it is Timestamp in microseconds"));
}

}  // namespace
}  // namespace vexa::test
