#include "latest_state_bench.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include <datastore/datastore.h>

#include "datastores.h"
#include "paired.h"
#include "plain_sqlite.h"
#include "workload.h"

namespace vexa::bench {

namespace {

using datastore::DataStoreParseUtility;

void require(bool condition, std::string const& what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

// A file laid out by the plug-in (schema, index, state), holding `shape`.
std::string written_store(std::string const& file, WorkloadShape const& shape) {
    remove_database(file);
    register_sqlite("bench_state_setup", file, false);
    DataStoreParseUtility::clear_db_vector();
    write_workload(shape, file);
    return file;
}

double latest_rows_seconds(SoleDatastore& store, std::vector<std::string> const& providers,
                           std::size_t expected) {
    return store.with([&] {
        std::vector<datastore::Row> rows;
        double const seconds =
            seconds_of([&] { datastore::get_latest_rows_provider_data(providers, rows, ""); });
        require(rows.size() == expected, "latest rows: " + std::to_string(rows.size()) +
                                             " rows, expected " + std::to_string(expected));
        return seconds;
    });
}

// Seconds of failing_since() over the latest rows of `providers`, read
// beforehand; some of them must be failing.
double failing_since_seconds(SoleDatastore& store, std::vector<std::string> const& providers) {
    return store.with([&] {
        std::vector<datastore::Row> latest;
        datastore::get_latest_rows_provider_data(providers, latest, "");
        std::vector<std::optional<std::int64_t>> since;
        bool answered = false;
        double const seconds =
            seconds_of([&] { answered = datastore::failing_since(latest, since); });
        require(answered, "failing since: no datastore answered");
        require(
            std::any_of(since.begin(), since.end(), [](auto const& t) { return t.has_value(); }),
            "failing since: no failing pair");
        return seconds;
    });
}

std::vector<InsertRequest> new_runs(WorkloadShape shape, int count) {
    // Stamps beyond the stored history, so every row is new.
    shape.runs += 1000000;
    std::vector<InsertRequest> runs;
    for (int i = 0; i < count; ++i) {
        runs.push_back(workload_row(shape, shape.rows() - static_cast<std::size_t>(count - i)));
    }
    return runs;
}

// Seconds of OP_INSERT of `runs` into a fresh copy of `source` opened as
// `instance`, one per call or in one batch.
double insert_seconds(std::string const& source, std::string const& file, bool with_state,
                      std::vector<InsertRequest> runs, bool batched) {
    copy_database(source, file);
    if (!with_state) {
        drop_latest_state(file, false);
    }
    std::vector<std::string> const names{"bench_state_insert"};
    register_sqlite(names[0], file, false);
    int stored = 0;
    double const seconds = seconds_of([&] {
        if (batched) {
            datastore::execute_ioctl(names, datastore::OP_BEGIN_BATCH, nullptr, nullptr, nullptr,
                                     nullptr);
        }
        for (InsertRequest& run : runs) {
            stored += datastore::execute_ioctl(names, datastore::OP_INSERT, nullptr, &run, nullptr,
                                               nullptr);
        }
        if (batched) {
            datastore::execute_ioctl(names, datastore::OP_COMMIT_BATCH, nullptr, nullptr, nullptr,
                                     nullptr);
        }
    });
    DataStoreParseUtility::clear_db_vector();
    remove_database(file);
    require(stored == static_cast<int>(runs.size()), "OP_INSERT failed");
    return seconds;
}

// Seconds of the same rows stored by the SQLite C library in one
// transaction, into a copy of `source` without the state's triggers.
double plain_loop_seconds(std::string const& source, std::string const& file,
                          std::vector<InsertRequest> const& runs) {
    copy_database(source, file);
    drop_latest_state(file, false);
    double seconds = 0;
    {
        PlainDatabase db(file, false);
        db.exec("PRAGMA synchronous = NORMAL");
        PlainStatement insert(db, plain_insert_sql());
        seconds = seconds_of([&] {
            db.exec("BEGIN");
            for (InsertRequest const& run : runs) {
                insert.insert_row(run);
            }
            db.exec("COMMIT");
        });
    }
    remove_database(file);
    return seconds;
}

std::string runs_text(int runs) { return " (" + std::to_string(runs) + " runs)"; }

}  // namespace

std::vector<Figure> LatestStateBench::figures() const {
    WorkloadShape shape;
    shape.hosts = hosts;
    shape.providers = providers;
    shape.runs = short_runs;
    std::string const short_file = written_store(dir + "/state-short.db", shape);
    shape.runs = long_runs;
    std::string const long_file = written_store(dir + "/state-long.db", shape);
    std::string const composed_file = dir + "/state-composed.db";
    copy_database(long_file, composed_file);
    drop_latest_state(composed_file, true);

    std::vector<std::string> const all_providers = provider_names(providers);
    // The front end keeps the latest row of each provider and host.
    std::size_t const pairs = static_cast<std::size_t>(hosts) * providers;
    std::vector<Figure> figures;
    {
        SoleDatastore short_store("bench_state_short", short_file, true);
        SoleDatastore long_store("bench_state_long", long_file, true);
        SoleDatastore composed_store("bench_state_composed", composed_file, true);
        PairedSamples const history = measure_paired(
            repetitions, [&] { return latest_rows_seconds(long_store, all_providers, pairs); },
            [&] { return latest_rows_seconds(short_store, all_providers, pairs); });
        auto const ms = [](double seconds) { return seconds * 1e3; };
        figures.push_back(paired_figure(
            "latest rows from the state, " + std::to_string(pairs * 3) +
                " pairs:" + runs_text(long_runs) + " vs" + runs_text(short_runs),
            "ms", history, ms, Figure::Ratio::library_over_baseline, Figure::Goal::at_most, 1.2));
        PairedSamples const since = measure_paired(
            repetitions, [&] { return failing_since_seconds(long_store, all_providers); },
            [&] { return failing_since_seconds(short_store, all_providers); });
        figures.push_back(paired_figure(
            "failing since of the failing pairs:" + runs_text(long_runs) + " vs" +
                runs_text(short_runs),
            "ms", since, ms, Figure::Ratio::library_over_baseline, Figure::Goal::at_most, 1.2));
        PairedSamples const composed = measure_paired(
            repetitions, [&] { return latest_rows_seconds(long_store, all_providers, pairs); },
            [&] { return latest_rows_seconds(composed_store, all_providers, pairs); });
        figures.push_back(paired_figure(
            "latest rows: composed query over the state" + runs_text(long_runs), "ms", composed, ms,
            Figure::Ratio::baseline_over_library, Figure::Goal::at_least, 20));
    }
    DataStoreParseUtility::clear_db_vector();
    remove_database(long_file);
    remove_database(composed_file);

    shape.runs = short_runs;
    std::vector<InsertRequest> const runs = new_runs(shape, insert_rows);
    double const rows = static_cast<double>(insert_rows);
    auto const rate = [rows](double seconds) { return rows / seconds; };
    std::string const with_file = dir + "/state-insert.db";
    std::string const without_file = dir + "/state-insert-plain.db";
    PairedSamples const single = measure_paired(
        repetitions, [&] { return insert_seconds(short_file, with_file, true, runs, false); },
        [&] { return insert_seconds(short_file, without_file, false, runs, false); });
    figures.push_back(paired_figure(
        "OP_INSERT one row per call, state vs none (" + std::to_string(insert_rows) + " rows)",
        "rows/s", single, rate, Figure::Ratio::library_over_baseline, Figure::Goal::at_least, 0.8));
    PairedSamples const batched = measure_paired(
        repetitions, [&] { return insert_seconds(short_file, with_file, true, runs, true); },
        [&] { return plain_loop_seconds(short_file, without_file, runs); });
    figures.push_back(paired_figure("OP_INSERT in a batch vs plain one-transaction loop (" +
                                        std::to_string(insert_rows) + " rows)",
                                    "rows/s", batched, rate, Figure::Ratio::library_over_baseline,
                                    Figure::Goal::at_least, 0.8));
    // The rows above hold several runs of each pair, whose state a batch
    // writes once; here every row is a pair of its own.
    std::vector<InsertRequest> const one_per_pair = new_runs(shape, static_cast<int>(pairs * 3));
    double const pair_rows = static_cast<double>(one_per_pair.size());
    PairedSamples const distinct = measure_paired(
        repetitions,
        [&] { return insert_seconds(short_file, with_file, true, one_per_pair, true); },
        [&] { return plain_loop_seconds(short_file, without_file, one_per_pair); });
    figures.push_back(paired_figure(
        "OP_INSERT in a batch, one row per pair, vs plain loop (" +
            std::to_string(one_per_pair.size()) + " rows)",
        "rows/s", distinct, [pair_rows](double seconds) { return pair_rows / seconds; },
        Figure::Ratio::library_over_baseline, Figure::Goal::at_least, 0.8));
    remove_database(short_file);
    return figures;
}

}  // namespace vexa::bench
