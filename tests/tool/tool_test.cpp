// vexa-datastore run as a user runs it: a separate process with HOME in a
// temporary directory, its standard output, standard error and exit status
// compared with what the user should see.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <datastore/datastore.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <nlohmann/json.hpp>

#include "test_support.h"

extern char** environ;

namespace {

using nlohmann::json;
using vexa::test::exists;
using vexa::test::read_file;
using vexa::test::TempDir;
using vexa::test::write_file;

#ifdef VEXA_TOOL
constexpr char const* kTool = VEXA_TOOL;
#else
constexpr char const* kTool = nullptr;
#endif

std::string const kPluginDirectory = std::string(VEXA_BUILD_ROOT) + "/datastore/quarn64";

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
    long peak_kib = 0;  // the most memory the tool held (resident set)
};

// The unprivileged account, for what root is never refused.
constexpr uid_t kNobody = 65534;

// Runs the tool with `args`, `input` on its standard input and the caller's
// environment changed by `env` (an empty value removes the variable). Its
// standard error goes to `stderr_fd` and its standard output to `stdout_fd`
// when they are given, and are then not part of the outcome. With a `user`,
// the tool runs as that user (the caller being root).
Outcome spawn_tool(std::vector<std::string> const& args, std::string const& input,
                   std::map<std::string, std::string> const& env, int stderr_fd = -1,
                   int stdout_fd = -1, std::optional<uid_t> user = std::nullopt) {
    TempDir io;
    write_file(io.file("in"), input);
    int const in = open(io.file("in").c_str(), O_RDONLY | O_CLOEXEC);
    int const out = stdout_fd >= 0 ? stdout_fd
                                   : open(io.file("out").c_str(),
                                          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    int const err = stderr_fd >= 0 ? stderr_fd
                                   : open(io.file("err").c_str(),
                                          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);

    std::vector<std::string> arguments{kTool};
    arguments.insert(arguments.end(), args.begin(), args.end());
    std::vector<std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string variable = *entry;
        if (env.count(variable.substr(0, variable.find('='))) == 0) {
            variables.push_back(variable);
        }
    }
    for (auto const& [name, value] : env) {
        if (!value.empty()) {
            variables.push_back(name + "=" + value);
        }
    }
    auto pointers = [](std::vector<std::string>& texts) {
        std::vector<char*> result;
        for (auto& text : texts) {
            result.push_back(text.data());
        }
        result.push_back(nullptr);
        return result;
    };
    auto argv = pointers(arguments);
    auto envp = pointers(variables);

    Outcome outcome;
    // Only async-signal-safe calls between fork and exec.
    pid_t const pid = fork();
    if (pid == 0) {
        bool const ready = dup2(in, 0) == 0 && dup2(out, 1) == 1 && dup2(err, 2) == 2 &&
                           (!user || (setgid(*user) == 0 && setuid(*user) == 0));
        if (ready) {
            execve(kTool, argv.data(), envp.data());
        }
        _exit(127);
    }
    for (int fd : {in, stdout_fd >= 0 ? -1 : out, stderr_fd >= 0 ? -1 : err}) {
        if (fd >= 0) {
            close(fd);
        }
    }
    if (pid < 0) {
        ADD_FAILURE() << "cannot start " << kTool << ": " << std::strerror(errno);
        return outcome;
    }
    int status = 0;
    struct rusage usage {};
    wait4(pid, &status, 0, &usage);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    outcome.peak_kib = usage.ru_maxrss;
    outcome.out = stdout_fd >= 0 ? "" : read_file(io.file("out"));
    outcome.err = stderr_fd >= 0 ? "" : read_file(io.file("err"));
    return outcome;
}

// A pseudo-terminal for the tool's standard output or error, read while the
// tool runs so that a full terminal buffer never stalls it.
class PseudoTerminal {
  public:
    PseudoTerminal() : terminal_(posix_openpt(O_RDWR | O_NOCTTY)) {
        if (terminal_ >= 0 && grantpt(terminal_) == 0 && unlockpt(terminal_) == 0) {
            side_ = open(ptsname(terminal_), O_RDWR | O_NOCTTY);
        }
        reader_ = std::thread([this] {
            char buffer[4096];
            ssize_t n;
            while (terminal_ >= 0 && (n = read(terminal_, buffer, sizeof buffer)) > 0) {
                shown_.append(buffer, static_cast<std::size_t>(n));
            }
        });
    }
    ~PseudoTerminal() { shown(); }
    PseudoTerminal(PseudoTerminal const&) = delete;
    PseudoTerminal& operator=(PseudoTerminal const&) = delete;

    // The descriptor to hand to the tool; -1 when no terminal could be made.
    int side() const { return side_; }

    // Everything shown, once the tool has ended.
    std::string const& shown() {
        if (reader_.joinable()) {
            close(side_);  // the reader sees the end once no process holds the terminal
            reader_.join();
            close(terminal_);
        }
        return shown_;
    }

  private:
    int terminal_;
    int side_ = -1;
    std::string shown_;
    std::thread reader_;
};

// Every test has its own HOME, so the default datastore is a fresh file.
class ToolInScratchHome : public ::testing::Test {
  protected:
    void SetUp() override {
        if (kTool == nullptr) {
            GTEST_SKIP() << "the tool is not built (VEXA_BUILD_TOOL=OFF)";
        }
        ASSERT_EQ(0, mkdir(home_.c_str(), 0700));
    }

    Outcome run(std::vector<std::string> const& args, std::string const& input = "",
                std::map<std::string, std::string> env = {}, int stderr_fd = -1, int stdout_fd = -1,
                std::optional<uid_t> user = std::nullopt) {
        env.emplace("HOME", home_);
        env.emplace("TZ", "UTC");
        env.emplace("COLUMNS", "200");
        env.emplace("USER", "tester");
        env.emplace("VEXA_DATASTORE_CONFIG", "");
        return spawn_tool(args, input, env, stderr_fd, stdout_fd, user);
    }

    // Runs the tool expecting success and nothing on standard error.
    std::string output_of(std::vector<std::string> const& args, std::string const& input = "") {
        Outcome outcome = run(args, input);
        EXPECT_EQ(0, outcome.status) << outcome.err;
        EXPECT_EQ("", outcome.err);
        return outcome.out;
    }

    json json_of(std::vector<std::string> args) {
        args.insert(args.begin(), {"--format", "json"});
        return json::parse(output_of(args));
    }

    std::string file(std::string const& name) const { return dir_.file(name); }
    std::string default_database() const { return home_ + "/.vexa/2021.4.0/vexa.db"; }
    std::string default_description() const {
        return "sqlite3 " + default_database() + " (read-write)";
    }

    // Builds the database `name` in the test's directory with load-sql: the
    // provider table, its view and the statement `insert` (one line, or "").
    void make_database(std::string const& name, std::string const& insert) {
        std::string const script = file(name + ".sql");
        write_file(script, vexa::datastore::default_create_table_query + "\n" +
                               vexa::datastore::default_create_view_query + "\n" + insert + "\n");
        EXPECT_EQ("loaded " + script + " into " + file(name) + "\n",
                  output_of({"load-sql", script, file(name)}));
    }

    // A group document with one SQLite instance per (name, source parameters).
    std::string write_config(std::string const& name,
                             std::vector<std::pair<std::string, std::string>> const& instances) {
        std::string document = "<datastores>\n  <group path=\"" + kPluginDirectory + "\">\n";
        for (auto const& [instance, parameters] : instances) {
            write_file(file(instance + ".xml"),
                       "<configuration instance_name=\"" + instance +
                           "\" type=\"sqlite3\" source_types=\"data\" source_parameters=\"" +
                           parameters + "\"/>\n");
            document += "    <entry config_path=\"" + dir_.path() + "\" config_file=\"" + instance +
                        ".xml\">libsqlite.so</entry>\n";
        }
        document += "  </group>\n</datastores>\n";
        write_file(file(name), document);
        return file(name);
    }

    TempDir dir_;
    std::string home_ = dir_.file("home");
};

// Four known results: cpu_load twice on node001 (the later one failed) and
// once on node002, and the host record of node001.
std::string const kKnownRecords =
    R"({"Provider": "cpu_load", "Hostname": "node001", "node_names": ["node001"], "Exit_status": 0, "Timestamp": 1700000000, "Duration": 0.5, "STDOUT": "load average: 0.50", "OptionID": "default", "version": 1, "Username": "ann", "Unique_timestamp": 1700000000000001})"
    "\n"
    R"({"Provider": "cpu_load", "Hostname": "node002", "node_names": ["node002"], "Exit_status": 0, "Timestamp": 1700000060, "Duration": 0.25, "STDOUT": "load average: 1.00", "OptionID": "default", "version": 1, "Username": "ann", "Unique_timestamp": 1700000060000000})"
    "\n"
    R"({"Provider": "cpu_load", "Hostname": "node001", "node_names": ["node001"], "Exit_status": 1, "Timestamp": 1700000600, "Duration": 0.75, "STDOUT": "load average: 99.00", "STDERR": "load too high", "OptionID": "default", "version": 1, "Username": "ann", "Unique_timestamp": 1700000600000000})"
    "\n"
    R"({"Provider": "uname", "Hostname": "node001", "num_nodes": 1, "node_names": ["node001"], "Timestamp": 1700000000, "STDOUT": "Linux node001 6.1.0 x86_64", "Encoding": "none", "Unique_timestamp": 1700000000000000})"
    "\n";

json known_row(int rowid, std::string const& host, int exit_status, std::int64_t timestamp,
               double duration, std::string const& out, std::string const& err,
               std::int64_t unique) {
    return {{"rowid", rowid},
            {"Provider", "cpu_load"},
            {"Hostname", host},
            {"num_nodes", 1},
            {"node_names", {host}},
            {"Exit_status", exit_status},
            {"Timestamp", timestamp},
            {"Duration", duration},
            {"Encoding", "none"},
            {"STDOUT", out},
            {"STDERR", err},
            {"OptionID", "default"},
            {"version", 1},
            {"Username", "ann"},
            {"Unique_timestamp", unique},
            {"datastore_source", "vexa_default"}};
}

json const kFirstNode001 =
    known_row(1, "node001", 0, 1700000000, 0.5, "load average: 0.50", "", 1700000000000001);
json const kNode002 =
    known_row(2, "node002", 0, 1700000060, 0.25, "load average: 1.00", "", 1700000060000000);
json const kLatestNode001 = known_row(3, "node001", 1, 1700000600, 0.75, "load average: 99.00",
                                      "load too high", 1700000600000000);

class ToolWithKnownRows : public ToolInScratchHome {
  protected:
    void SetUp() override {
        ToolInScratchHome::SetUp();
        if (!IsSkipped()) {
            EXPECT_EQ("stored 4 records in vexa_default (" + default_description() + ")\n",
                      output_of({"insert", "-"}, kKnownRecords));
        }
    }
};

// --- usage -------------------------------------------------------------------

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

// --- demo and summary ----------------------------------------------------------

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
    // Large enough, and committed row by row, to take well over the second
    // after which progress shows, also on an idle machine: in batches of the
    // default size the same records are stored in about half a second.
    Outcome outcome =
        run({"demo", "--hosts", "999", "--runs", "12", "--batch", "1"}, "", {}, terminal.side());
    std::string shown = terminal.shown();
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ(0u, outcome.out.find("stored 107892 records")) << "standard output stays clean";
    EXPECT_NE(std::string::npos, shown.find("\rstoring demo results: ")) << shown;
    EXPECT_NE(std::string::npos, shown.find("/107892 (")) << shown;
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

// --- reading known rows --------------------------------------------------------

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
    Outcome stored = spawn_tool({"insert"}, lines,
                                {{"HOME", other_home.path()}, {"TZ", "UTC"}, {"USER", "tester"}});
    EXPECT_EQ(0, stored.status) << stored.err;
    Outcome again = spawn_tool({"--format", "jsonl", "select", "--sort", "time"}, "",
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
        "Operation code 768 failed for vexa_default\n"
        "vexa-datastore: datastore \"vexa_default\" failed to run the query \"SELEC 1\": near "
        "\"SELEC\": syntax error\n",
        outcome.err);
}

// --- output forms ----------------------------------------------------------------

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

// --- insert -------------------------------------------------------------------------

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
    output_of({"demo"});
    // Another writer holds the write lock for as long as the tool waits (the
    // plug-in's busy timeout), so the tool's writable open cannot finish.
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

TEST_F(ToolInScratchHome, InsertStoresInTheFirstDatastoreThatAccepts) {
    make_database("ro.db", "");
    std::string config =
        write_config("two.xml", {{"ro", "source=" + file("ro.db") + "|read_only=true"},
                                 {"rw", "source=" + file("rw.db") + "|read_only=false"}});
    EXPECT_EQ("stored 1 record in rw (sqlite3 " + file("rw.db") + " (read-write))\n",
              output_of({"--config", config, "insert"}, R"({"Provider": "p", "Hostname": "h"})"
                                                        "\n"));
}

// --- several datastores and configuration ---------------------------------------------

TEST_F(ToolWithKnownRows, RowsOfSeveralDatastoresAreMergedAndNamed) {
    make_database("extra.db",
                  "INSERT INTO provider_datastore (Provider, Hostname, Exit_status, Timestamp, "
                  "Unique_timestamp) VALUES ('cpu_load', 'node003', 4, 1700000300, "
                  "1700000300000000);");
    std::string config = write_config(
        "both.xml", {{"vexa_default", "source=" + default_database() + "|read_only=true"},
                     {"extra", "source=" + file("extra.db") + "|read_only=true"}});
    json rows = json_of({"--config", config, "latest", "-p", "cpu_load"});
    ASSERT_EQ(3u, rows.size());
    EXPECT_EQ(kLatestNode001, rows[0]);
    EXPECT_EQ(kNode002, rows[1]);
    EXPECT_EQ("node003", rows[2]["Hostname"]);
    EXPECT_EQ("extra", rows[2]["datastore_source"]);

    json summary = json_of({"--config", config, "summary", "--failed"});
    EXPECT_EQ(json({{"Provider", "cpu_load"},
                    {"hosts", 3},
                    {"passed", 1},
                    {"failed", 2},
                    {"newest", 1700000600},
                    {"failed_hosts", {"node001", "node003"}}}),
              summary[0]);

    // A table names the datastore in a column of its own; merged rows are
    // ordered by time when asked.
    EXPECT_EQ(
        "Provider  Hostname  Exit_status  Timestamp                STDOUT               STDERR"
        "         datastore\n"
        "--------  --------  -----------  -----------------------  -------------------  "
        "-------------  ------------\n"
        "cpu_load  node002             0  2023-11-14 22:14:20 UTC  load average: 1.00"
        "                  vexa_default\n"
        "cpu_load  node003             4  2023-11-14 22:18:20 UTC"
        "                                      extra\n"
        "cpu_load  node001             1  2023-11-14 22:23:20 UTC  load average: 99.00  "
        "load too high  vexa_default\n",
        output_of({"--config", config, "--sort", "time", "latest", "-p", "cpu_load"}));
}

TEST_F(ToolInScratchHome, DatastoresListsTheCompletedConfiguration) {
    output_of({"insert"}, "");
    std::string const shipped = std::string(VEXA_BUILD_ROOT) + "/etc/datastore/datastores.xml";
    json listing = json_of({"--config", shipped, "datastores"});
    EXPECT_EQ(json({{{"instance_name", "vexa_default"},
                     {"type", "sqlite3"},
                     {"source_types", "data"},
                     {"library", kPluginDirectory + "/libsqlite.so"},
                     {"opened", true},
                     {"description", "sqlite3 " + default_database() + " (read-only)"}}}),
              listing);
    EXPECT_EQ(listing, json_of({"datastores"})) << "the embedded default is the shipped one";
}

TEST_F(ToolInScratchHome, DatastoresShowsAnInstanceThatDidNotOpen) {
    std::string const group = file("no_plugin.xml");
    write_config("unused.xml", {{"lost", "source=" + file("lost.db")}});
    write_file(group,
               "<datastores><group path=\"" + dir_.path() + "\"><entry config_path=\"" +
                   dir_.path() +
                   "\" config_file=\"lost.xml\">libsqlite.so</entry></group></datastores>\n");
    Outcome outcome = run({"--format", "csv", "--config", group, "datastores"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(
        "instance_name,type,source_types,library,opened,description\r\n"
        "lost,sqlite3,data," +
            dir_.path() + "/libsqlite.so,false,opendir failed on " + dir_.path() +
            "/libsqlite.so: 2: No such file or directory\r\n",
        outcome.out);
    EXPECT_EQ("vexa-datastore: 1 of 1 configured datastores did not open\n", outcome.err);

    outcome = run({"--config", group, "hosts"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: cannot open datastore \"lost\" at " + file("lost.db") +
                  ": opendir failed on " + dir_.path() +
                  "/libsqlite.so: 2: No such file or directory\n",
              outcome.err);
    EXPECT_EQ("", outcome.out);
}

TEST_F(ToolInScratchHome, ConfigurationFaultsNameTheFile) {
    std::string const broken = file("broken.xml");
    write_file(broken, "<datastores>\n<group>");
    std::string const empty = file("empty.xml");
    write_file(empty, "<datastores/>\n");
    std::string const lonely = file("lonely.xml");
    write_file(lonely,
               "<datastores><group path=\"" + kPluginDirectory + "\"><entry config_path=\"" +
                   dir_.path() +
                   "\" config_file=\"absent.xml\">libsqlite.so</entry></group></datastores>\n");
    std::string const bad_type = write_config("bad_type.xml", {{"typo", "source=x.db"}});
    write_file(file("typo.xml"),
               "<configuration instance_name=\"typo\" type=\"sqlite\" "
               "source_parameters=\"source=x.db\"/>\n");
    struct Case {
        std::string config;
        std::string message;
    };
    std::vector<Case> const cases{
        {file("absent_group.xml"), "cannot read configuration file " + file("absent_group.xml") +
                                       ": No such file or directory"},
        {broken, "configuration file " + broken + " is not valid XML: " + broken +
                     ":2: Premature end of data in tag group line 2"},
        {empty, "configuration file " + empty +
                    " names no datastore: it needs group elements holding entry elements, as in "
                    "etc/datastore/datastores.xml"},
        {lonely, "configuration file " + lonely +
                     ": Error opening datastore configuration (failed to load external entity \"" +
                     file("absent.xml") + "\")"},
        {bad_type, "configuration file " + bad_type + ": Invalid value for attribute type sqlite"},
    };
    for (auto const& c : cases) {
        Outcome outcome = run({"--config", c.config, "summary"});
        EXPECT_EQ(1, outcome.status) << c.config;
        EXPECT_EQ("vexa-datastore: " + c.message + "\n", outcome.err);
        EXPECT_EQ("", outcome.out);
    }
    EXPECT_FALSE(exists(default_database())) << "a faulty configuration never falls back";

    // The library reports a faulty entry in its own log line and skips it.
    std::string const no_path = file("no_path.xml");
    write_file(no_path,
               "<datastores><group path=\"" + kPluginDirectory +
                   "\"><entry config_path=\"\">libsqlite.so</entry></group></datastores>\n");
    Outcome outcome = run({"--config", no_path, "hosts"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("Invalid path attribute\nvexa-datastore: configuration file " + no_path +
                  " names no datastore: it needs group elements holding entry elements, as in "
                  "etc/datastore/datastores.xml\n",
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

// --- what an administrator asks ---------------------------------------------------------

// Results of two providers on three hosts relative to now: node003 stopped
// reporting an hour ago, cpu_load on node002 is twenty minutes old.
std::string records_relative_to(std::int64_t now) {
    auto record = [](std::string const& provider, std::string const& host, std::int64_t when,
                     int exit_status) {
        return json({{"Provider", provider},
                     {"Hostname", host},
                     {"Timestamp", when},
                     {"Exit_status", exit_status}})
                   .dump() +
               "\n";
    };
    return record("cpu_load", "node001", now - 60, 0) + record("memory", "node001", now - 60, 0) +
           record("cpu_load", "node002", now - 1200, 1) + record("memory", "node002", now - 30, 0) +
           record("cpu_load", "node003", now - 3600, 0) +
           record("memory", "node003", now - 3700, 2);
}

std::int64_t now_seconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
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
        "Provider  hosts  passed  failed  newest\n"
        "--------  -----  ------  ------  -----------------------\n"
        "cpu_load      3       2       1  2023-11-14 22:12:20 UTC\n"
        "memory        3       2       1  2023-11-14 22:12:50 UTC\n"
        "\n"
        "cpu_load failed on: node002\n"
        "memory failed on: node003\n",
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

TEST_F(ToolInScratchHome, TheConfigurationVariableStandsInForConfig) {
    make_database("env.db", "");
    std::string config = write_config("env.xml", {{"from_env", "source=" + file("env.db")}});
    Outcome outcome =
        run({"--format", "csv", "datastores"}, "", {{"VEXA_DATASTORE_CONFIG", config}});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ(0u, outcome.out.find("instance_name,type,source_types,library,opened,description\r\n"
                                   "from_env,sqlite3,data,"))
        << outcome.out;
}

// --- guarding the library against names with quotes ------------------------------------

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

// --- failures are reported, never lost ------------------------------------------------

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

TEST_F(ToolInScratchHome, APrettyPrintedEntryIsRecognised) {
    std::string const group = file("pretty.xml");
    write_file(group, "<datastores>\n  <group path=\"" + kPluginDirectory +
                          "\">\n    <entry config_file=\"default_sqlite.xml\">\n      "
                          "libsqlite.so\n    </entry>\n  </group>\n</datastores>\n");
    Outcome outcome = run({"--config", group, "summary"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: configuration file " + group +
                  ": the entry \"libsqlite.so\" is written over several lines: write the entry's "
                  "file name on one line\n",
              outcome.err);
}

// --- batches and pruning ----------------------------------------------------------------

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

TEST_F(ToolInScratchHome, PruneRemovesOldResultsAndCanKeepTheLatest) {
    std::int64_t const now = now_seconds();
    output_of({"insert"}, records_relative_to(now));
    EXPECT_EQ(
        "datastore     would_remove\n"
        "------------  ------------\n"
        "vexa_default             2\n",
        output_of({"prune", "--older-than", "50m", "--dry-run"}));
    EXPECT_EQ(6u, json_of({"select"}).size()) << "a dry run removes nothing";
    EXPECT_EQ(json::parse(R"([{"datastore": "vexa_default", "removed": 0}])"),
              json_of({"prune", "--older-than", "50m", "--keep-latest"}))
        << "node003's only results are its latest";
    EXPECT_EQ(json::parse(R"([{"datastore": "vexa_default", "removed": 2}])"),
              json_of({"prune", "--older-than", "10m", "-p", "cpu_load"}))
        << "node002 and node003; node001's is fresh";
    EXPECT_EQ(4u, json_of({"select"}).size());
}

// --- plug-ins without the project's own operations ------------------------------------

#ifdef VEXA_PLUGIN_RECORDS_ONLY_PLUGIN
// The same SQLite file as the instance "cluster", once through the SQLite
// plug-in and once through a plug-in that serves only the four contract
// opcodes: the tool's output is the same.
TEST_F(ToolWithKnownRows, APlugInWithoutTheNewOperationsGivesTheSameOutput) {
    std::string const plugin = VEXA_PLUGIN_RECORDS_ONLY_PLUGIN;
    std::string const plugin_directory = plugin.substr(0, plugin.rfind('/'));
    std::string const plugin_file = plugin.substr(plugin.rfind('/') + 1);
    auto config_for = [&](std::string const& name, std::string const& type,
                          std::string const& directory, std::string const& library,
                          std::string const& database, std::string const& prefix = "") {
        write_file(file(name + "_instance.xml"),
                   "<configuration instance_name=\"cluster\" type=\"" + type +
                       "\" source_types=\"data\" source_parameters=\"" + prefix +
                       "source=" + database + "\"/>\n");
        write_file(file(name), "<datastores><group path=\"" + directory +
                                   "\"><entry config_path=\"" + dir_.path() + "\" config_file=\"" +
                                   name + "_instance.xml\">" + library +
                                   "</entry></group></datastores>\n");
        return file(name);
    };
    std::string const served =
        config_for("served.xml", "sqlite3", kPluginDirectory, "libsqlite.so", default_database());
    std::string const records_only =
        config_for("records_only.xml", "other", plugin_directory, plugin_file, default_database(),
                   "library=" + kPluginDirectory + "/libsqlite.so|");

    for (std::string format : {"table", "csv", "json", "jsonl"}) {
        std::vector<std::string> args{"--format", format, "sql",
                                      "SELECT * FROM vexa_1 ORDER BY rowid"};
        args.insert(args.begin(), {"--config", served});
        std::string const expected = output_of(args);
        args[1] = records_only;
        EXPECT_EQ(expected, output_of(args)) << format;
    }
    EXPECT_EQ(4u, json_of({"--config", records_only, "sql", "SELECT * FROM vexa_1"}).size());

    // Batches fall back to one record at a time, with the same report.
    std::string const record = R"({"Provider": "p", "Hostname": "h", "Timestamp": 1})"
                               "\n";
    std::string const report = "stored 1 record in cluster (" + default_description() + ")\n";
    EXPECT_EQ(report, output_of({"--config", served, "insert"}, record));
    EXPECT_EQ(report, output_of({"--config", records_only, "insert", "--batch", "2"}, record));
    EXPECT_EQ(6u, json_of({"select"}).size());

    // Pruning has no fallback: the datastore is named.
    Outcome outcome = run({"--config", records_only, "prune", "--older-than", "1d"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("(no rows)\n", outcome.out);
    EXPECT_EQ(
        "vexa-datastore: warning: datastore \"cluster\" cannot remove results (its plug-in does "
        "not serve it)\n",
        outcome.err);
}
#endif

// --- load-sql ---------------------------------------------------------------------------

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
