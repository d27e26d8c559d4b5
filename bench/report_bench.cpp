#include "report_bench.h"

#include <ctime>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "headless_browser.h"
#include "large_cluster.h"
#include "program.h"

namespace vexa::bench {

namespace {

// The page marks the first frame that shows its grid; in milliseconds since
// the navigation started.
constexpr char const* kPaintedScript =
    "new Promise(function wait(done) { const mark = "
    "performance.getEntriesByName('vexa-report-painted')[0]; mark ? "
    "done(mark.startTime) : setTimeout(() => wait(done), 10); })";

void run_tool(std::vector<std::string> arguments, std::string const& home,
              std::string const& input = "") {
    std::map<std::string, std::string> const environment{
        {"HOME", home}, {"TZ", "UTC"}, {"VEXA_DATASTORE_CONFIG", ""}};
    auto const outcome = test::run_program({std::move(arguments), environment, input});
    require(outcome.status == 0, "vexa-datastore failed: " + outcome.err);
}

}  // namespace

std::vector<Figure> report_page_rendering(Comparisons const& comparisons, std::string const& tool) {
    int const hosts = comparisons.shape.hosts;
    int const providers = comparisons.shape.providers;
    std::string const home = comparisons.dir + "/report-home";
    std::filesystem::create_directories(home);
    // The tool creates the datastore with its tables and index; the bulk of
    // the results goes in directly, in one transaction.
    run_tool({tool, "insert", "-"}, home,
             R"({"Provider": "provider_0", "Hostname": "node1", "STDOUT": "created by the tool"})"
             "\n");
    test::fill_large_cluster(home + "/.vexa/2021.4.0/vexa.db", hosts, providers,
                             std::time(nullptr));
    std::string const page = comparisons.dir + "/report.html";
    run_tool({tool, "report", "--html", page}, home);

    std::string const profile = comparisons.dir + "/report-browser";
    std::filesystem::create_directories(profile);
    std::vector<double> rendered;
    {
        test::HeadlessBrowser browser(profile, 1200, 900);
        for (int load = 0; load <= comparisons.repetitions; ++load) {
            browser.open("file://" + page);
            double const milliseconds = browser.evaluate(kPaintedScript).get<double>();
            if (load > 0) {
                rendered.push_back(milliseconds);
            }
        }
    }
    std::filesystem::remove_all(profile);
    return {absolute_figure("report page of " + std::to_string(hosts) + " hosts x " +
                                std::to_string(providers) + " providers, grid on screen",
                            "ms", rendered, Figure::Goal::at_most, 2000)};
}

}  // namespace vexa::bench
