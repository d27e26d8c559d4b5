// vexa-datastore run as a user runs it: a separate process with HOME in a
// temporary directory, its standard output, standard error and exit status
// compared with what the user should see. The fixtures of the tool's suites.
#ifndef VEXA_TESTS_TOOL_TOOL_FIXTURE_H_
#define VEXA_TESTS_TOOL_TOOL_FIXTURE_H_

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "program.h"
#include "test_support.h"

namespace vexa::test {

using json = nlohmann::json;
using Outcome = ProgramOutcome;

#ifdef VEXA_TOOL
constexpr char const* kTool = VEXA_TOOL;
#else
constexpr char const* kTool = nullptr;
#endif

extern std::string const kPluginDirectory;

// The unprivileged account, for what root is never refused.
constexpr uid_t kNobody = 65534;

// Runs the tool with `args`, `input` on its standard input and the caller's
// environment changed by `env` (an empty value removes the variable; the
// configuration variable is removed unless `env` sets it). Its standard
// error goes to `stderr_fd` and its standard output to `stdout_fd` when they
// are given, and are then not part of the outcome. With a `user`, the tool
// runs as that user (the caller being root).
Outcome run_tool(std::vector<std::string> const& args, std::string const& input,
                 std::map<std::string, std::string> env, int stderr_fd = -1, int stdout_fd = -1,
                 std::optional<uid_t> user = std::nullopt);

// Every test has its own HOME, so the default datastore is a fresh file.
class ToolInScratchHome : public ::testing::Test {
  protected:
    void SetUp() override;

    Outcome run(std::vector<std::string> const& args, std::string const& input = "",
                std::map<std::string, std::string> env = {}, int stderr_fd = -1, int stdout_fd = -1,
                std::optional<uid_t> user = std::nullopt);

    // Runs the tool expecting success and nothing on standard error.
    std::string output_of(std::vector<std::string> const& args, std::string const& input = "");

    json json_of(std::vector<std::string> args);

    std::string file(std::string const& name) const { return dir_.file(name); }
    std::string default_database() const { return home_ + "/.vexa/2021.4.0/vexa.db"; }
    std::string default_description() const {
        return "sqlite3 " + default_database() + " (read-write)";
    }

    // Builds the database `name` in the test's directory with load-sql: the
    // provider table, its view and the statement `insert` (one line, or "").
    void make_database(std::string const& name, std::string const& insert);

    // A group document with one SQLite instance per (name, source parameters).
    std::string write_config(std::string const& name,
                             std::vector<std::pair<std::string, std::string>> const& instances);

    TempDir dir_;
    std::string home_ = dir_.file("home");
};

// Four known results: cpu_load twice on node001 (the later one failed) and
// once on node002, and the host record of node001.
extern std::string const kKnownRecords;
// Their rows as the tool shows them.
extern json const kFirstNode001;
extern json const kNode002;
extern json const kLatestNode001;

// ToolInScratchHome with the known results stored in the default datastore.
class ToolWithKnownRows : public ToolInScratchHome {
  protected:
    void SetUp() override;
};

// Results of two providers on three hosts relative to now: node003 stopped
// reporting an hour ago, cpu_load on node002 is twenty minutes old.
std::string records_relative_to(std::int64_t now);

std::int64_t now_seconds();

}  // namespace vexa::test

#endif  // VEXA_TESTS_TOOL_TOOL_FIXTURE_H_
