// The commands that watch a cluster, run as an administrator runs them:
// `check` as a monitoring plug-in, `metrics` read by promtool, and the page
// of `report` opened in a headless Chromium without a network.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "headless_browser.h"
#include "large_cluster.h"
#include "program.h"
#include "test_support.h"

namespace {

using nlohmann::json;
using vexa::test::fill_large_cluster;
using vexa::test::HeadlessBrowser;
using vexa::test::ProgramOutcome;
using vexa::test::read_file;
using vexa::test::run_program;
using vexa::test::TempDir;
using vexa::test::write_file;

std::int64_t const kNow = std::time(nullptr);

// One stored result, `age` seconds old.
struct Result {
    std::string provider;
    std::string host;
    int exit_status;
    std::int64_t age;
    std::string output;
};

// Three providers on five hosts: node2 fails disk_usage, node3's memory
// result is an hour old, node4 never ran disk_usage, node1's cpu_load
// failed before its latest run passed.
std::vector<Result> const kCluster{
    {"cpu_load", "node1", 1, 600, "load average: 9.10"},
    {"cpu_load", "node1", 0, 60, "load average: 0.52"},
    {"memory", "node1", 0, 60, "12 GiB free"},
    {"disk_usage", "node1", 0, 60, "/ 40% used"},
    {"cpu_load", "node2", 0, 60, "load average: 0.40"},
    {"memory", "node2", 0, 60, "11 GiB free"},
    {"disk_usage", "node2", 2, 60, "/scratch 97% used\nsecond line"},
    {"cpu_load", "node3", 0, 60, "load average: 0.30"},
    {"memory", "node3", 0, 3600, "10 GiB free"},
    {"disk_usage", "node3", 0, 60, "/ 41% used"},
    {"cpu_load", "node4", 0, 60, "load average: 0.20"},
    {"memory", "node4", 0, 60, "13 GiB free"},
    {"cpu_load", "node10", 0, 60, "load average: 0.10"},
    {"memory", "node10", 0, 60, "14 GiB free"},
    {"disk_usage", "node10", 0, 60, "/ 42% used"},
};

double duration_of(std::size_t index) { return 0.25 * static_cast<double>(index + 1); }

std::string local_time(std::int64_t seconds) {  // the tests run with TZ=UTC
    std::time_t time = static_cast<std::time_t>(seconds);
    std::tm utc{};
    gmtime_r(&time, &utc);
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &utc);
    return text;
}

std::vector<std::string> lines_of(std::string const& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

class MonitoringCommands : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(0, mkdir(home_.c_str(), 0700)); }

    ProgramOutcome run(std::vector<std::string> args, std::string const& input = "") {
        args.insert(args.begin(), VEXA_TOOL);
        return run_program(
            {args,
             {{"HOME", home_}, {"TZ", "UTC"}, {"USER", "tester"}, {"VEXA_DATASTORE_CONFIG", ""}},
             input});
    }

    // Stores `results` through the tool's insert command.
    void store(std::vector<Result> const& results) {
        std::string lines;
        for (std::size_t i = 0; i < results.size(); ++i) {
            auto const& result = results[i];
            std::int64_t const time = kNow - result.age;
            lines += json{{"Provider", result.provider},
                          {"Hostname", result.host},
                          {"Exit_status", result.exit_status},
                          {"Timestamp", time},
                          {"Unique_timestamp", time * 1000000 + static_cast<std::int64_t>(i)},
                          {"Duration", duration_of(i)},
                          {"STDOUT", result.output}}
                         .dump() +
                     "\n";
        }
        auto outcome = run({"insert", "-"}, lines);
        ASSERT_EQ(0, outcome.status) << outcome.err;
    }

    std::string database() const { return home_ + "/.vexa/2021.4.0/vexa.db"; }
    std::string file(std::string const& name) const { return dir_.file(name); }

    TempDir dir_;
    std::string home_ = dir_.file("home");
};

// ---- check --------------------------------------------------------------

TEST_F(MonitoringCommands, CheckIsCriticalWithTheFailingHostsThenTheStaleOnes) {
    store(kCluster);
    auto outcome = run({"check"});
    EXPECT_EQ(2, outcome.status) << outcome.err;
    EXPECT_EQ(
        "VEXA CRITICAL - 1 of 5 hosts failed, 2 stale | failed=1 stale=2 hosts=5\n"
        "node2 failed: disk_usage (exit 2, failing since " +
            local_time(kNow - 60) +
            ")\n"
            "node3 stale: memory (last " +
            local_time(kNow - 3600) +
            ")\n"
            "node4 stale: disk_usage (never reported)\n",
        outcome.out);
    EXPECT_EQ("", outcome.err);
}

TEST_F(MonitoringCommands, CheckIsWarningWhileTheFailedHostsStayWithinCrit) {
    store(kCluster);
    auto outcome = run({"check", "--crit", "1"});
    EXPECT_EQ(1, outcome.status) << outcome.err;
    EXPECT_EQ("VEXA WARNING - 1 of 5 hosts failed, 2 stale | failed=1 stale=2 hosts=5",
              lines_of(outcome.out).at(0));
}

TEST_F(MonitoringCommands, CheckIsWarningForAStaleResultOnly) {
    store(kCluster);
    auto outcome = run({"check", "-p", "memory"});
    EXPECT_EQ(1, outcome.status) << outcome.err;
    EXPECT_EQ(
        "VEXA WARNING - 0 of 5 hosts failed, 1 stale | failed=0 stale=1 hosts=5\n"
        "node3 stale: memory (last " +
            local_time(kNow - 3600) + ")\n",
        outcome.out);
}

TEST_F(MonitoringCommands, CheckIsOkWhenTheChosenProvidersPassedRecently) {
    store(kCluster);
    auto outcome = run({"check", "-p", "cpu_load,memory", "--stale", "2h"});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("VEXA OK - 5 hosts passed | failed=0 stale=0 hosts=5\n", outcome.out);
    EXPECT_EQ("", outcome.err);
}

TEST_F(MonitoringCommands, CheckIsUnknownWhenTheDatastoreCannotBeOpened) {
    // A directory where the database file should be.
    ASSERT_EQ(0, mkdir((home_ + "/.vexa").c_str(), 0700));
    ASSERT_EQ(0, mkdir((home_ + "/.vexa/2021.4.0").c_str(), 0700));
    ASSERT_EQ(0, mkdir(database().c_str(), 0700));
    auto outcome = run({"check"});
    EXPECT_EQ(3, outcome.status) << outcome.err;
    auto lines = lines_of(outcome.out);
    ASSERT_EQ(1u, lines.size()) << outcome.out;
    EXPECT_EQ(0u, lines[0].find("VEXA UNKNOWN - datastore \"vexa_default\" did not open: "))
        << lines[0];
}

TEST_F(MonitoringCommands, CheckIsUnknownWithoutADatastore) {
    auto outcome = run({"check"});
    EXPECT_EQ(3, outcome.status) << outcome.err;
    auto lines = lines_of(outcome.out);
    ASSERT_EQ(1u, lines.size()) << outcome.out;
    EXPECT_EQ(0u, lines[0].find("VEXA UNKNOWN - ")) << lines[0];
}

TEST_F(MonitoringCommands, CheckIsUnknownForProvidersWithoutResults) {
    store(kCluster);
    auto outcome = run({"check", "-p", "infiniband"});
    EXPECT_EQ(3, outcome.status) << outcome.err;
    EXPECT_EQ(0u, outcome.out.find("VEXA UNKNOWN - ")) << outcome.out;
}

TEST_F(MonitoringCommands, CheckIsUnknownForABadStaleDuration) {
    store(kCluster);
    auto outcome = run({"check", "--stale", "soon"});
    EXPECT_EQ(3, outcome.status) << outcome.err;
    EXPECT_EQ(0u, outcome.out.find("VEXA UNKNOWN - --stale: ")) << outcome.out;
}

TEST_F(MonitoringCommands, CheckIsUnknownForAThresholdThatIsNotACount) {
    store(kCluster);
    auto outcome = run({"check", "--crit", "-1"});
    EXPECT_EQ(3, outcome.status) << outcome.err;
    EXPECT_EQ("VEXA UNKNOWN - --crit: '-1' is not a number of hosts\n", outcome.out);
    outcome = run({"check", "--warn", "five"});
    EXPECT_EQ(3, outcome.status) << outcome.err;
    EXPECT_EQ("VEXA UNKNOWN - --warn: 'five' is not a number of hosts\n", outcome.out);
}

TEST_F(MonitoringCommands, CheckIsUnknownForAnOptionItDoesNotKnow) {
    store(kCluster);
    auto outcome = run({"check", "--bogus"});
    EXPECT_EQ(3, outcome.status) << outcome.err;
    EXPECT_EQ("VEXA UNKNOWN - The following argument was not expected: --bogus (see --help)\n",
              outcome.out);
    EXPECT_EQ("", outcome.err);
    outcome = run({"check", "--stale"});
    EXPECT_EQ(3, outcome.status) << outcome.err;
    EXPECT_EQ(0u, outcome.out.find("VEXA UNKNOWN - --stale: ")) << outcome.out;
}

// ---- metrics ------------------------------------------------------------

// The sample lines the cluster's latest results must give.
std::set<std::string> expected_samples() {
    std::map<std::pair<std::string, std::string>, std::size_t> latest;
    for (std::size_t i = 0; i < kCluster.size(); ++i) {
        latest[{kCluster[i].provider, kCluster[i].host}] = i;  // later results come later
    }
    std::set<std::string> samples;
    for (auto const& [key, i] : latest) {
        std::string const labels = "{provider=\"" + key.first + "\",host=\"" + key.second +
                                   "\",datastore=\"vexa_default\"} ";
        std::ostringstream duration;
        duration << duration_of(i);
        samples.insert("vexa_provider_exit_status" + labels +
                       std::to_string(kCluster[i].exit_status));
        samples.insert("vexa_provider_last_run_timestamp_seconds" + labels +
                       std::to_string(kNow - kCluster[i].age));
        samples.insert("vexa_provider_duration_seconds" + labels + duration.str());
    }
    // node2's disk_usage never passed: failing since its only run.
    samples.insert(
        "vexa_provider_failing_since_timestamp_seconds{provider=\"disk_usage\",host=\"node2\","
        "datastore=\"vexa_default\"} " +
        std::to_string(kNow - 60));
    samples.insert("vexa_datastore_up{datastore=\"vexa_default\"} 1");
    return samples;
}

std::set<std::string> samples_of(std::string const& text) {
    std::set<std::string> samples;
    for (auto const& line : lines_of(text)) {
        if (!line.empty() && line[0] != '#') {
            samples.insert(line);
        }
    }
    return samples;
}

TEST_F(MonitoringCommands, MetricsPassPromtoolAndHoldTheLatestResults) {
    store(kCluster);
    auto outcome = run({"metrics"});
    ASSERT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("", outcome.err);
    auto promtool = run_program({{"promtool", "check", "metrics"}, {}, outcome.out});
    EXPECT_EQ(0, promtool.status) << promtool.out << promtool.err;
    EXPECT_EQ("", promtool.out + promtool.err);
    EXPECT_EQ(expected_samples(), samples_of(outcome.out));
    for (char const* family :
         {"vexa_provider_exit_status", "vexa_provider_last_run_timestamp_seconds",
          "vexa_provider_duration_seconds", "vexa_provider_failing_since_timestamp_seconds",
          "vexa_datastore_up"}) {
        EXPECT_NE(std::string::npos, outcome.out.find(std::string("# TYPE ") + family + " gauge\n"))
            << family;
    }
}

std::vector<std::string> directory_entries(std::string const& path) {
    std::vector<std::string> names;
    DIR* dir = opendir(path.c_str());
    for (dirent* entry = dir ? readdir(dir) : nullptr; entry != nullptr; entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    if (dir != nullptr) {
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(MonitoringCommands, MetricsOutputReplacesTheFileWholeAndLeavesNoTemporaryFile) {
    store(kCluster);
    std::string const directory = file("textfile");
    ASSERT_EQ(0, mkdir(directory.c_str(), 0700));
    std::string const target = directory + "/vexa.prom";
    write_file(target, "old content\n");
    auto outcome = run({"metrics", "--output", target});
    ASSERT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("", outcome.out + outcome.err);
    EXPECT_EQ(std::vector<std::string>{"vexa.prom"}, directory_entries(directory));
    EXPECT_EQ(expected_samples(), samples_of(read_file(target)));
    struct stat info {};
    ASSERT_EQ(0, stat(target.c_str(), &info));
    EXPECT_EQ(0644u, info.st_mode & 0777);  // the collector may run as another user
}

TEST_F(MonitoringCommands, MetricsIntoAMissingDirectoryFailNamingTheFile) {
    store(kCluster);
    std::string const target = file("missing") + "/vexa.prom";
    auto outcome = run({"metrics", "--output", target});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("vexa-datastore: cannot write " + target +
                  ": create a temporary file beside it: No such file or directory\n",
              outcome.err);
}

// A group document with the SQLite instances "good" (a file in the test's
// directory) and "broken" (a directory where its file should be).
std::string write_two_datastores(TempDir const& dir) {
    EXPECT_EQ(0, mkdir(dir.file("broken.db").c_str(), 0700));
    std::string document =
        "<datastores>\n  <group path=\"" + std::string(VEXA_BUILD_ROOT) + "/datastore/quarn64\">\n";
    for (std::string const name : {"good", "broken"}) {
        write_file(dir.file(name + ".xml"),
                   "<configuration instance_name=\"" + name +
                       "\" type=\"sqlite3\" source_types=\"data\" source_parameters=\"source=" +
                       dir.file(name + ".db") + "\"/>\n");
        document += "    <entry config_path=\"" + dir.path() + "\" config_file=\"" + name +
                    ".xml\">libsqlite.so</entry>\n";
    }
    write_file(dir.file("datastores.xml"), document + "  </group>\n</datastores>\n");
    return dir.file("datastores.xml");
}

TEST_F(MonitoringCommands, MetricsOfTheDatastoresThatOpenedAreWrittenAndTheOtherIsDown) {
    std::string const config = write_two_datastores(dir_);
    auto stored = run({"--config", config, "insert", "--datastore", "good", "-"},
                      json{{"Provider", "cpu_load"},
                           {"Hostname", "node1"},
                           {"Exit_status", 3},
                           {"Timestamp", kNow},
                           {"Unique_timestamp", kNow * 1000000},
                           {"Duration", 1.5}}
                          .dump());
    // Stored in "good"; "broken" did not open, which insert reports with status 1.
    ASSERT_EQ(1, stored.status) << stored.err;
    ASSERT_EQ(0u, stored.out.rfind("stored 1 record in good ", 0)) << stored.out;

    auto outcome = run({"--config", config, "metrics"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(0u, outcome.err.find("vexa-datastore: datastore \"broken\" did not open: "))
        << outcome.err;
    EXPECT_EQ(
        std::set<std::string>(
            {"vexa_provider_exit_status{provider=\"cpu_load\",host=\"node1\",datastore=\"good\"} 3",
             "vexa_provider_last_run_timestamp_seconds{provider=\"cpu_load\",host=\"node1\","
             "datastore=\"good\"} " +
                 std::to_string(kNow),
             "vexa_provider_duration_seconds{provider=\"cpu_load\",host=\"node1\",datastore="
             "\"good\"} 1.5",
             "vexa_provider_failing_since_timestamp_seconds{provider=\"cpu_load\",host=\"node1\","
             "datastore=\"good\"} " +
                 std::to_string(kNow),
             "vexa_datastore_up{datastore=\"good\"} 1",
             "vexa_datastore_up{datastore=\"broken\"} 0"}),
        samples_of(outcome.out));
    auto promtool = run_program({{"promtool", "check", "metrics"}, {}, outcome.out});
    EXPECT_EQ(0, promtool.status) << promtool.out << promtool.err;

    auto check = run({"--config", config, "check"});
    EXPECT_EQ(3, check.status);
    EXPECT_EQ(0u, check.out.find("VEXA UNKNOWN - datastore \"broken\" did not open: "))
        << check.out;
}

// ---- since when a pair has been failing -------------------------------

// Stored out of order: node5 passed ten minutes ago, then failed twice;
// node6 never passed; node7 failed, then passed.
std::vector<Result> const kFailingPairs{
    {"disk_usage", "node5", 2, 120, "/ 99% used"}, {"disk_usage", "node5", 0, 600, "/ 50% used"},
    {"disk_usage", "node5", 1, 300, "/ 95% used"}, {"disk_usage", "node6", 2, 60, "/ 98% used"},
    {"disk_usage", "node6", 2, 240, "/ 97% used"}, {"disk_usage", "node7", 0, 60, "/ 40% used"},
    {"disk_usage", "node7", 1, 180, "/ 96% used"},
};

TEST_F(MonitoringCommands, CheckSaysSinceWhenEachFailingHostHasBeenFailing) {
    store(kFailingPairs);
    auto outcome = run({"check"});
    EXPECT_EQ(2, outcome.status) << outcome.err;
    EXPECT_EQ(
        "VEXA CRITICAL - 2 of 3 hosts failed, 0 stale | failed=2 stale=0 hosts=3\n"
        "node5 failed: disk_usage (exit 2, failing since " +
            local_time(kNow - 300) +
            ")\n"
            "node6 failed: disk_usage (exit 2, failing since " +
            local_time(kNow - 240) + ")\n",
        outcome.out);
    EXPECT_EQ("", outcome.err);
}

TEST_F(MonitoringCommands, MetricsGiveTheFailingSinceGaugeOfFailingPairsOnly) {
    store(kFailingPairs);
    auto outcome = run({"metrics"});
    ASSERT_EQ(0, outcome.status) << outcome.err;
    auto promtool = run_program({{"promtool", "check", "metrics"}, {}, outcome.out});
    EXPECT_EQ(0, promtool.status) << promtool.out << promtool.err;
    std::vector<std::string> family;
    for (auto const& line : lines_of(outcome.out)) {
        if (line.find("vexa_provider_failing_since_timestamp_seconds") != std::string::npos) {
            family.push_back(line);
        }
    }
    EXPECT_EQ((std::vector<std::string>{
                  "# HELP vexa_provider_failing_since_timestamp_seconds Time of the first run "
                  "after the last passing run of a failing provider on a host, in seconds since "
                  "the epoch.",
                  "# TYPE vexa_provider_failing_since_timestamp_seconds gauge",
                  "vexa_provider_failing_since_timestamp_seconds{provider=\"disk_usage\",host="
                  "\"node5\",datastore=\"vexa_default\"} " +
                      std::to_string(kNow - 300),
                  "vexa_provider_failing_since_timestamp_seconds{provider=\"disk_usage\",host="
                  "\"node6\",datastore=\"vexa_default\"} " +
                      std::to_string(kNow - 240)}),
              family);
}

// Presses Tab until a cell of the grid has the focus (at most 20 times);
// whether one has.
bool tab_to_first_cell(HeadlessBrowser& browser) {
    for (int presses = 0; presses < 20; ++presses) {
        if (browser.evaluate("document.activeElement.tagName") == "TD") {
            return true;
        }
        browser.press("Tab");
    }
    return browser.evaluate("document.activeElement.tagName") == "TD";
}

// As the page's script writes local times.
std::string page_time(std::int64_t seconds) {
    std::string text = local_time(seconds);
    return text.substr(0, text.size() - 4);  // without " UTC"
}

TEST_F(MonitoringCommands, ReportHoverOfAFailingCellSaysSinceWhen) {
    store(kFailingPairs);
    std::string const page = file("failing.html");
    ASSERT_EQ(0, run({"report", "--html", page}).status);
    setenv("TZ", "UTC", 1);  // the page shows the browser's local times
    TempDir profile;
    HeadlessBrowser browser(profile.path(), 1000, 700);
    browser.open("file://" + page);
    ASSERT_TRUE(tab_to_first_cell(browser));
    std::string const tip = "document.getElementById('tip').textContent";
    EXPECT_EQ("node5 \u00b7 disk_usage\n\u2717 failed, exit status 2\n" + page_time(kNow - 120) +
                  " (2 min before the report), took 0.25 s\nfailing since " +
                  page_time(kNow - 300) +
                  " (5 min before the report)\ndatastore vexa_default\n/ 99% used",
              browser.evaluate(tip).get<std::string>());
    browser.press("ArrowDown");
    browser.press("ArrowDown");
    auto const passed = browser.evaluate(tip).get<std::string>();
    EXPECT_EQ(0u, passed.find("node7 \u00b7 disk_usage\n\u2713 passed")) << passed;
    EXPECT_EQ(std::string::npos, passed.find("failing since")) << passed;
}

// ---- report -------------------------------------------------------------

std::string const kCountsScript =
    "JSON.stringify(Object.assign({}, document.getElementById('totals').dataset))";
// The states of the cells the page shows, counted from the page itself.
std::string const kShownCellsScript =
    "(() => { const c = {}; document.querySelectorAll('#grid tbody tr[data-i] "
    "td:not(.hc)').forEach("
    "td => { c[td.className] = (c[td.className] || 0) + 1; }); return JSON.stringify(c); })()";
std::string const kShownHostsScript =
    "Array.from(document.querySelectorAll('#grid tbody tr[data-i] th')).map(th => "
    "th.textContent).join(' ')";

// Reads the width and height of a PNG image from its header.
std::pair<unsigned, unsigned> png_size(std::string const& png) {
    if (png.size() < 24 || png.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) {
        return {0, 0};
    }
    auto word = [&](std::size_t at) {
        unsigned value = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            value = value << 8 | static_cast<unsigned char>(png[at + i]);
        }
        return value;
    };
    return {word(16), word(20)};
}

TEST_F(MonitoringCommands, ReportPageShowsTheDatastoreInABrowserWithoutNetwork) {
    store(kCluster);
    std::string const page = file("cluster.html");
    auto outcome = run({"report", "--html", page});
    ASSERT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("", outcome.out + outcome.err);
    std::string const html = read_file(page);
    for (char const* outside : {"<link", " src=", "@import", "url("}) {
        EXPECT_EQ(std::string::npos, html.find(outside)) << outside;
    }

    TempDir profile;
    HeadlessBrowser browser(profile.path(), 1000, 700);
    browser.open("file://" + page);
    // 5 hosts x 3 providers: node2's disk_usage failed, node3's memory is
    // stale, node4 never ran disk_usage.
    EXPECT_EQ(R"({"failed":"1","stale":"1","never":"1","passed":"12"})",
              browser.evaluate(kCountsScript));
    EXPECT_EQ(R"({"p":12,"f":1,"s":1,"n":1})", browser.evaluate(kShownCellsScript));
    EXPECT_EQ("node2 node3 node4 node1 node10", browser.evaluate(kShownHostsScript));
    EXPECT_EQ("showing 5 of 5 hosts",
              browser.evaluate("document.getElementById('shown').textContent"));

    auto png = browser.screenshot();
    EXPECT_EQ(std::make_pair(1000u, 700u), png_size(png));
    write_file(file("cluster.png"), png);

    browser.click("#states button[data-state=f]");
    EXPECT_EQ("node2", browser.evaluate(kShownHostsScript));
    EXPECT_EQ("showing 1 of 5 hosts",
              browser.evaluate("document.getElementById('shown').textContent"));
    EXPECT_EQ("true", browser.evaluate("document.querySelector('#states button[data-state=f]')"
                                       ".getAttribute('aria-pressed')"));
    browser.click("#states button[data-state='']");
    EXPECT_EQ("showing 5 of 5 hosts",
              browser.evaluate("document.getElementById('shown').textContent"));

    // Every request went to the page's own file.
    EXPECT_EQ(std::vector<std::string>{"file://" + page}, browser.requested_urls());
}

TEST_F(MonitoringCommands, ReportCellsAreReachedByKeyboardAndDescribeTheResult) {
    store(kCluster);
    std::string const page = file("cluster.html");
    ASSERT_EQ(0, run({"report", "--html", page}).status);
    TempDir profile;
    HeadlessBrowser browser(profile.path(), 1000, 700);
    browser.open("file://" + page);
    // Tab goes through the filters, then reaches the first cell of the grid.
    ASSERT_TRUE(tab_to_first_cell(browser));
    std::string const tip = "document.getElementById('tip').textContent";
    auto text = browser.evaluate(tip).get<std::string>();
    EXPECT_EQ(0u, text.find("node2 \u00b7 cpu_load\n\u2713 passed, exit status 0\n")) << text;
    browser.press("ArrowRight");
    text = browser.evaluate(tip).get<std::string>();
    EXPECT_EQ(0u, text.find("node2 \u00b7 disk_usage\n\u2717 failed, exit status 2\n")) << text;
    EXPECT_NE(std::string::npos, text.find("datastore vexa_default\n/scratch 97% used")) << text;
    EXPECT_EQ("false", browser.evaluate("String(document.getElementById('tip').hidden)"));
    browser.press("ArrowDown");
    EXPECT_EQ(0u, browser.evaluate(tip).get<std::string>().find(
                      "node3 \u00b7 disk_usage\n\u2713 passed"));
}

// The time until the grid is on screen is a figure of vexa-bench.
TEST_F(MonitoringCommands, ReportOfTwoThousandHostsByFiftyProvidersShowsEveryCell) {
    // The tool creates the datastore with its tables and index; the bulk of
    // the results goes in directly, in one transaction.
    store({{"provider_0", "node1", 0, 60, "created by the tool"}});
    auto cells = fill_large_cluster(database(), 2000, 50, kNow);
    std::string const page = file("large.html");
    auto outcome = run({"report", "--html", page});
    ASSERT_EQ(0, outcome.status) << outcome.err;

    TempDir profile;
    HeadlessBrowser browser(profile.path(), 1200, 900);
    browser.open("file://" + page);
    // The tool's own result on node1 is older than the one stored after it.
    json const expected{{"failed", std::to_string(cells["failed"])},
                        {"stale", std::to_string(cells["stale"])},
                        {"never", std::to_string(cells["never"])},
                        {"passed", std::to_string(cells["passed"])}};
    EXPECT_EQ(expected, json::parse(browser.evaluate(kCountsScript).get<std::string>()));
    EXPECT_EQ(std::vector<std::string>{"file://" + page}, browser.requested_urls());
}

}  // namespace
