// Measures the library against its physical limit: every figure is timed
// side by side with a baseline in the same run (reads, latest rows, the
// latest-row reduction, inserts, peak memory) and printed as one table.
//
//   vexa-bench [--smoke] [--hosts N] [--providers N] [--runs N]
//              [--repetitions N] [--insert-rows N] [--dir PATH] [--cpu-time]
//              [--operations-only] [--pruning-only] [--export-only]
//
// The default workload is 2,000 hosts x 50 providers x 10 runs (1,000,000
// rows), 7 paired repetitions per figure and 20,000 rows per insert run;
// --smoke is 20 x 50 x 10 (10,000 rows), 3 repetitions and 2,000 rows; the
// other options, given after it, override single values. With --dir the workload
// database is kept there and reused by later runs of the same shape;
// otherwise it lives in a temporary directory removed at the end. The exit
// status is 0 when the run completed, whether or not targets were met.
// --cpu-time times the calling thread's CPU time instead of elapsed time
// (peak memory is unaffected). --operations-only measures only the figures
// of batches, pruning and the tool's insert, --pruning-only those of
// pruning alone; --export-only only those of the tool's export. Where the
// test helpers are
// built, the tool's report page of the workload's hosts x providers is
// timed in a headless Chromium as well, and the tool's `--format jsonl
// select` of every row, streamed, against the same export read whole (peak
// memory and time, see tool_export.h).
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <datastore/datastore.h>

#include "comparisons.h"
#include "datastores.h"
#include "import_bench.h"
#include "operations_bench.h"
#ifdef VEXA_BENCH_REPORT_PAGE
#include "report_bench.h"
#endif
#include "report.h"
#include "tool_export.h"
#include "workload.h"

extern char** environ;

namespace vexa::bench {
namespace {

struct Options {
    WorkloadShape shape;
    int repetitions = 7;
    int insert_rows = 20000;
    std::string dir;
    bool operations_only = false;
    bool pruning_only = false;
    bool export_only = false;
    std::string peak_child;  // "library" or "baseline": measure one read, then exit
    std::string database;    // the database a peak child reads
};

int number_after(int& i, int argc, char** argv) {
    if (i + 1 >= argc) {
        throw std::invalid_argument(std::string(argv[i]) + " needs a value");
    }
    int const value = std::atoi(argv[++i]);
    if (value <= 0) {
        throw std::invalid_argument(std::string(argv[i - 1]) + " needs a positive number");
    }
    return value;
}

std::string text_after(int& i, int argc, char** argv) {
    if (i + 1 >= argc) {
        throw std::invalid_argument(std::string(argv[i]) + " needs a value");
    }
    return argv[++i];
}

Options parse_options(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        if (arg == "--smoke") {
            options.shape = WorkloadShape{20, 50, 10};
            options.repetitions = 3;
            options.insert_rows = 2000;
        } else if (arg == "--cpu-time") {
            count_cpu_time = true;
        } else if (arg == "--operations-only") {
            options.operations_only = true;
        } else if (arg == "--pruning-only") {
            options.operations_only = true;
            options.pruning_only = true;
        } else if (arg == "--export-only") {
            options.export_only = true;
        } else if (arg == "--hosts") {
            options.shape.hosts = number_after(i, argc, argv);
        } else if (arg == "--providers") {
            options.shape.providers = number_after(i, argc, argv);
        } else if (arg == "--runs") {
            options.shape.runs = number_after(i, argc, argv);
        } else if (arg == "--repetitions") {
            options.repetitions = number_after(i, argc, argv);
        } else if (arg == "--insert-rows") {
            options.insert_rows = number_after(i, argc, argv);
        } else if (arg == "--dir") {
            options.dir = text_after(i, argc, argv);
        } else if (arg == "--peak-child") {
            options.peak_child = text_after(i, argc, argv);
        } else if (arg == "--database") {
            options.database = text_after(i, argc, argv);
        } else {
            throw std::invalid_argument("unknown option " + arg);
        }
    }
    return options;
}

// The peak resident memory (KiB) of this program re-run as a peak child,
// as the child reports it. The rusage of a waited-for child would not do:
// its maximum survives exec, so it would count this (large) process too.
double peak_kib_of_child(Options const& options, std::string const& side,
                         std::string const& database) {
    std::vector<std::string> args{"vexa-bench",
                                  "--peak-child",
                                  side,
                                  "--database",
                                  database,
                                  "--hosts",
                                  std::to_string(options.shape.hosts),
                                  "--providers",
                                  std::to_string(options.shape.providers),
                                  "--runs",
                                  std::to_string(options.shape.runs)};
    std::vector<char*> argv;
    for (auto& arg : args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    int report[2];
    if (pipe(report) != 0) {
        throw std::runtime_error("cannot create a pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, report[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, report[0]);
    pid_t pid = 0;
    int const spawned =
        posix_spawn(&pid, "/proc/self/exe", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(report[1]);
    std::string text;
    char buffer[64];
    for (ssize_t n; spawned == 0 && (n = read(report[0], buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(n));
    }
    close(report[0]);
    if (spawned != 0) {
        throw std::runtime_error("cannot start a peak-memory child");
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0 ||
        text.empty()) {
        throw std::runtime_error("the " + side + " peak-memory child failed");
    }
    return std::stod(text);
}

// This process's peak resident memory in KiB (VmHWM).
std::string own_peak_kib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0) {
            return std::to_string(std::stol(line.substr(6)));
        }
    }
    throw std::runtime_error("no VmHWM in /proc/self/status");
}

// Child side: read every row once, the library's way or the baseline's.
int run_peak_child(Options const& options) {
    std::vector<std::string> const providers = provider_names(options.shape.providers);
    std::vector<Row> rows;
    if (options.peak_child == "library") {
        register_sqlite("bench_peak", options.database, true);
        datastore::select_provider_data(providers, rows, "", false);
    } else {
        read_plain(options.database, providers, "bench_peak", rows);
    }
    if (rows.size() != options.shape.rows()) {
        return 1;
    }
    std::cout << own_peak_kib() << std::endl;
    return 0;
}

// The workload database of this shape in `dir`, generated when missing: the
// plug-in creates its schema, the rows go in through a plain connection, and
// the plug-in opens it once more as a user's tool would before reading.
std::string workload_database(Options const& options, std::string const& dir) {
    WorkloadShape const& s = options.shape;
    std::string const file = dir + "/workload-" + std::to_string(s.hosts) + "x" +
                             std::to_string(s.providers) + "x" + std::to_string(s.runs) + ".db";
    if (std::filesystem::exists(file)) {
        return file;
    }
    std::cerr << "generating " << s.rows() << " rows into " << file << "\n";
    std::string const partial = file + ".partial";
    remove_database(partial);
    register_sqlite("bench_generate", partial, false);
    datastore::DataStoreParseUtility::clear_db_vector();
    write_workload(s, partial);
    register_sqlite("bench_generate", partial, false);
    datastore::DataStoreParseUtility::clear_db_vector();
    std::filesystem::rename(partial, file);
    return file;
}

// The directory of the run's files: the one given, kept, or a fresh
// temporary one, removed with its contents however the run ends.
class WorkDirectory {
  public:
    explicit WorkDirectory(std::string given) : path_(std::move(given)), temporary_(path_.empty()) {
        if (temporary_) {
            std::string pattern = std::filesystem::temp_directory_path() / "vexa-bench-XXXXXX";
            if (mkdtemp(pattern.data()) == nullptr) {
                throw std::runtime_error("cannot create a temporary directory");
            }
            path_ = pattern;
        }
        std::filesystem::create_directories(path_);
    }
    ~WorkDirectory() {
        if (temporary_) {
            std::error_code ignored;
            std::filesystem::remove_all(path_, ignored);
        }
    }
    WorkDirectory(WorkDirectory const&) = delete;
    WorkDirectory& operator=(WorkDirectory const&) = delete;

    std::string const& path() const { return path_; }

  private:
    std::string path_;
    bool temporary_;
};

// The tool's export of the workload, streamed and read whole (tool_export.h).
std::vector<Figure> tool_exports(Options const& options, Comparisons const& comparisons,
                                 std::string const& tool) {
    ToolDatastore const filled{"bench_export", "libsqlite.so", "sqlite3",
                               "source=" + comparisons.database + "|read_only=true"};
    ToolDatastore const empty = empty_sqlite_datastore(comparisons.dir + "/export-empty.db");
    return tool_export_figures(tool, "sqlite", write_group_document(comparisons.dir, {filled}),
                               write_group_document(comparisons.dir, {filled, empty}),
                               options.shape.rows(), std::min(options.repetitions, 3),
                               comparisons.dir);
}

int run(Options const& options) {
    if (!options.peak_child.empty()) {
        return run_peak_child(options);
    }
    WorkDirectory const work(options.dir);
    std::string const& dir = work.path();

    Comparisons const comparisons{options.shape,
                                  options.repetitions,
                                  options.insert_rows,
                                  dir,
                                  workload_database(options, dir),
                                  dir + "/without-index.db"};
    // The tool sits in bin/ beside this program's bench/ when it was built.
    std::filesystem::path const tool =
        std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "bin" /
        "vexa-datastore";
    std::vector<Figure> figures;
    if (options.export_only) {
        figures = tool_exports(options, comparisons, tool.string());
    }
    if (!options.operations_only && !options.export_only) {
        copy_without_indexes(comparisons.database, comparisons.database_without_index);
        figures = comparisons.reads();
        for (Figure& figure : comparisons.inserts()) {
            figures.push_back(std::move(figure));
        }
    }
    if (!options.export_only) {
        if (!options.pruning_only) {
            std::vector<Figure> const batches = batched_inserts(comparisons);
            figures.insert(figures.end(), batches.begin(), batches.end());
        }
        std::vector<Figure> const prunes = pruning(comparisons);
        figures.insert(figures.end(), prunes.begin(), prunes.end());
    }
    if (std::filesystem::exists(tool) && !options.export_only && !options.pruning_only) {
        for (Figure& figure : json_lines_import(comparisons, tool.string())) {
            figures.push_back(std::move(figure));
        }
        if (!options.operations_only) {
            for (Figure& figure : tool_exports(options, comparisons, tool.string())) {
                figures.push_back(std::move(figure));
            }
        }
#ifdef VEXA_BENCH_REPORT_PAGE
        if (!options.operations_only) {
            for (Figure& figure : report_page_rendering(comparisons, tool.string())) {
                figures.push_back(std::move(figure));
            }
        }
#endif
    }
    if (!options.operations_only && !options.export_only) {
        PairedSamples peaks;
        for (int i = 0; i < options.repetitions; ++i) {
            peaks.library.push_back(peak_kib_of_child(options, "library", comparisons.database));
            peaks.baseline.push_back(peak_kib_of_child(options, "baseline", comparisons.database));
        }
        figures.push_back(paired_figure(
            "peak resident memory reading all rows", "MiB", peaks,
            [](double kib) { return kib / 1024.0; }, Figure::Ratio::library_over_baseline,
            Figure::Goal::at_most, 1.15));
    }

    std::cout << "workload: " << options.shape.hosts << " hosts x " << options.shape.providers
              << " providers x " << options.shape.runs << " runs = " << options.shape.rows()
              << " rows; " << options.repetitions << " paired repetitions, medians of "
              << (count_cpu_time ? "CPU time" : "elapsed time") << "\n";
    int const misses = print_table(std::cout, figures);
    std::cout << (misses == 0 ? "all targets met\n"
                              : std::to_string(misses) + " target(s) missed\n");
    return 0;
}

}  // namespace
}  // namespace vexa::bench

int main(int argc, char** argv) {
    try {
        return vexa::bench::run(vexa::bench::parse_options(argc, argv));
    } catch (std::exception const& e) {
        std::cerr << "vexa-bench: " << e.what() << "\n";
        return 1;
    }
}
