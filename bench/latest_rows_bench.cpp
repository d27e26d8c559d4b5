// The latest-row reduction of the front end against a plain two-pass hash
// reduction, per merged row, with Google Benchmark; with --state, the
// figures of the SQLite plug-in's latest-row state instead, as a table of
// figure, baseline and target (latest_state_bench.h).
//
//   latest_rows_bench [--rows N] [benchmark flags]
//   latest_rows_bench --state [--runs LONG] [--hosts N] [--repetitions N]
//
// The merged rows are shaped like the answer of the latest-rows query for
// 50 providers: one row per provider, host and option identifier (three
// runs of the workload), in the index's order, N rows in all (default
// 300,000).
#include <benchmark/benchmark.h>

#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <tuple>
#include <vector>

#include <filesystem>

#include "hash_reduction.h"
#include "latest_rows.h"
#include "latest_state_bench.h"
#include "workload.h"

namespace {

using vexa::datastore::Row;

std::vector<Row> merged_rows(std::size_t count) {
    constexpr int options = 3;
    vexa::bench::WorkloadShape shape;
    shape.hosts = static_cast<int>(std::max<std::size_t>(1, count / (50 * options)));
    shape.runs = options;
    std::vector<Row> rows;
    for (std::size_t i = 0; i < shape.rows(); ++i) {
        rows.push_back(vexa::bench::workload_as_row(shape, i, "bench"));
    }
    // In the order the query answers through the plug-in's index.
    std::sort(rows.begin(), rows.end(), [](Row const& a, Row const& b) {
        return std::tie(a.Provider, a.Hostname, a.OptionID) <
               std::tie(b.Provider, b.Hostname, b.OptionID);
    });
    return rows;
}

template <class Reduction>
void reduce(benchmark::State& state, std::vector<Row> const& merged, Reduction reduction) {
    for (auto _ : state) {
        // Both reductions consume their input: a fresh copy each time, and
        // freeing the rows afterwards, stay off the clock.
        state.PauseTiming();
        std::vector<Row> input = merged;
        std::vector<Row> latest;
        state.ResumeTiming();
        reduction(input, latest);
        benchmark::DoNotOptimize(latest.data());
        state.PauseTiming();
        input = {};
        latest = {};
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(merged.size()));
}

}  // namespace

namespace {

int run_state_figures(vexa::bench::LatestStateBench bench) {
    std::filesystem::path const dir =
        std::filesystem::temp_directory_path() / ("vexa-state-bench-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    bench.dir = dir.string();
    // The table says which figures miss their targets; only a failed
    // measurement fails the program.
    int status = 0;
    try {
        vexa::bench::print_table(std::cout, bench.figures());
    } catch (std::exception const& error) {
        std::cerr << "latest_rows_bench: " << error.what() << "\n";
        status = 1;
    }
    std::filesystem::remove_all(dir);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::size_t rows = 300000;
    bool state = false;
    vexa::bench::LatestStateBench bench;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--state") == 0) {
            state = true;
        } else if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) {
            bench.long_runs = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--hosts") == 0 && i + 1 < argc) {
            bench.hosts = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--repetitions") == 0 && i + 1 < argc) {
            bench.repetitions = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--rows") == 0 && i + 1 < argc) {
            rows = std::strtoull(argv[++i], nullptr, 10);
        } else {
            std::cerr << "latest_rows_bench: unknown option " << argv[i] << "\n";
            return 1;
        }
    }
    if (state) {
        return run_state_figures(bench);
    }
    std::vector<Row> const merged = merged_rows(rows);
    benchmark::RegisterBenchmark("library_keep_latest_rows", [&](benchmark::State& state) {
        reduce(state, merged, vexa::datastore::detail::keep_latest_rows);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("plain_two_pass_hash", [&](benchmark::State& state) {
        reduce(state, merged, vexa::bench::plain_latest_rows);
    })->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
