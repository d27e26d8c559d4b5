#include "tool_export.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <datastore/datastore.h>

#include "comparisons.h"
#include "datastores.h"

extern char** environ;

namespace vexa::bench {

namespace {

struct ToolRun {
    double seconds = 0;
    double peak_kib = 0;
};

// Runs `tool` with `args` under /usr/bin/time, counting the lines it prints.
// /usr/bin/time forks the tool from a small process of its own, so the peak
// it reports is the tool's; a child spawned from this (large) program would
// carry this program's peak over its exec.
ToolRun run_measured(std::string const& tool, std::vector<std::string> const& args,
                     std::size_t expected_lines, std::string const& report) {
    std::vector<std::string> command{"/usr/bin/time", "-f", "%e %M", "-o", report, tool};
    command.insert(command.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    int output[2];
    require(pipe(output) == 0, "cannot create a pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, output[0]);
    pid_t pid = 0;
    int const spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(output[1]);
    std::size_t lines = 0;
    char buffer[1 << 16];
    for (ssize_t n; spawned == 0 && (n = read(output[0], buffer, sizeof buffer)) > 0;) {
        lines += static_cast<std::size_t>(std::count(buffer, buffer + n, '\n'));
    }
    close(output[0]);
    require(spawned == 0, "cannot start /usr/bin/time");
    int status = 0;
    require(waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0,
            "the export " + tool + " failed");
    require(lines == expected_lines, "the export printed " + std::to_string(lines) +
                                         " lines, not " + std::to_string(expected_lines));
    ToolRun run;
    std::ifstream(report) >> run.seconds >> run.peak_kib;
    require(run.peak_kib > 0, "no figures from /usr/bin/time in " + report);
    return run;
}

}  // namespace

ToolDatastore empty_sqlite_datastore(std::string const& file) {
    remove_database(file);
    register_sqlite("bench_empty", file, false);
    datastore::DataStoreParseUtility::clear_db_vector();
    return {"bench_empty", "libsqlite.so", "sqlite3", "source=" + file};
}

std::string write_group_document(std::string const& dir,
                                 std::vector<ToolDatastore> const& datastores) {
    std::ostringstream group;
    group << "<datastores>\n  <group path=\"datastore/quarn64\">\n";
    for (ToolDatastore const& datastore : datastores) {
        std::string const file = "export-" + datastore.name + ".xml";
        std::ofstream(dir + "/" + file)
            << "<configuration instance_name=\"" << datastore.name << "\" type=\"" << datastore.type
            << "\" source_types=\"data\" source_parameters=\"" << datastore.source_parameters
            << "\"/>\n";
        group << "    <entry config_path=\"" << dir << "\" config_file=\"" << file << "\">"
              << datastore.plugin << "</entry>\n";
    }
    group << "  </group>\n</datastores>\n";
    std::string name = "export-group";
    for (ToolDatastore const& datastore : datastores) {
        name += "-" + datastore.name;
    }
    std::string const path = dir + "/" + name + ".xml";
    std::ofstream(path) << group.str();
    return path;
}

std::vector<Figure> tool_export_figures(std::string const& tool, std::string const& backend,
                                        std::string const& group,
                                        std::string const& group_with_empty, std::size_t rows,
                                        int repetitions, std::string const& dir) {
    std::string const report = dir + "/export-time.txt";
    auto const export_of = [&](std::string const& config, bool by_time) {
        std::vector<std::string> args{"--config", config, "--format", "jsonl"};
        if (by_time) {
            args.insert(args.end(), {"--sort", "time"});
        }
        args.emplace_back("select");
        return run_measured(tool, args, rows, report);
    };
    PairedSamples peaks;
    PairedSamples times;
    PairedSamples ordered_times;
    std::vector<double> ordered_peaks;
    for (int i = 0; i < repetitions; ++i) {
        ToolRun const streamed = export_of(group, false);
        ToolRun const whole = export_of(group_with_empty, true);
        ToolRun const ordered = export_of(group, true);
        peaks.library.push_back(streamed.peak_kib);
        peaks.baseline.push_back(whole.peak_kib);
        times.library.push_back(streamed.seconds);
        times.baseline.push_back(whole.seconds);
        ordered_times.library.push_back(ordered.seconds);
        ordered_times.baseline.push_back(whole.seconds);
        ordered_peaks.push_back(ordered.peak_kib / 1024.0);
    }
    std::string const what = "jsonl select (" + backend + ")";
    auto const same = [](double value) { return value; };
    auto const mib = [](double kib) { return kib / 1024.0; };
    std::vector<double> streamed_peaks;
    for (double kib : peaks.library) {
        streamed_peaks.push_back(mib(kib));
    }
    return {
        paired_figure(what + " peak, streamed vs whole", "MiB", peaks, mib,
                      Figure::Ratio::library_over_baseline, Figure::Goal::at_most, 1.0),
        absolute_figure(what + " peak, streamed", "MiB", streamed_peaks, Figure::Goal::at_most, 64),
        paired_figure(what + " time, streamed vs whole", "s", times, same,
                      Figure::Ratio::library_over_baseline, Figure::Goal::at_most, 1.0),
        paired_figure(what + " time, --sort time in SQL vs whole", "s", ordered_times, same,
                      Figure::Ratio::library_over_baseline, Figure::Goal::at_most, 1.0),
        absolute_figure(what + " peak, --sort time in SQL", "MiB", ordered_peaks,
                        Figure::Goal::at_most, 64)};
}

}  // namespace vexa::bench
