#include "operations_bench.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>

#include <datastore/datastore.h>

#include "datastores.h"
#include "paired.h"
#include "plain_sqlite.h"
#include "workload.h"

namespace vexa::bench {

namespace {

using datastore::DataStoreParseUtility;
using datastore::execute_ioctl;

// Each pruning repetition needs a fresh copy of the whole workload.
constexpr int max_pruning_repetitions = 3;

bool run_on(std::vector<std::string> const& names, unsigned short opcode, void const* in,
            void* out) {
    return execute_ioctl(names, opcode, in, out, nullptr, nullptr) == 1;
}

// Reads the latest rows of one provider on one host through `instance`
// until told to stop, keeping the longest call.
class LatestRowReader {
  public:
    explicit LatestRowReader(std::string instance)
        : names_{std::move(instance)}, thread_([this] { read(); }) {}
    ~LatestRowReader() { stop(); }
    LatestRowReader(LatestRowReader const&) = delete;
    LatestRowReader& operator=(LatestRowReader const&) = delete;

    // Stops the thread; the longest call in seconds and whether all succeeded.
    double stop() {
        stop_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        require(failures_ == 0, "a read failed while pruning");
        require(reads_ > 0, "no read ran while pruning");
        return longest_;
    }

  private:
    void read() {
        datastore::ReadParameters parameters;
        parameters.providers = {provider_name(0)};
        parameters.hostnames = {host_name(0)};
        while (!stop_) {
            std::vector<Row> rows;
            double const seconds = seconds_of([&] {
                failures_ +=
                    run_on(names_, datastore::OP_GET_LATEST_ROWS, &parameters, &rows) ? 0 : 1;
            });
            longest_ = std::max(longest_, seconds);
            ++reads_;
        }
    }

    std::vector<std::string> const names_;
    std::atomic<bool> stop_{false};
    double longest_ = 0;
    int failures_ = 0;
    long reads_ = 0;
    std::thread thread_;
};

}  // namespace

std::vector<Figure> batched_inserts(Comparisons const& comparisons) {
    std::vector<InsertRequest> requests;
    for (int i = 0; i < comparisons.insert_rows; ++i) {
        requests.push_back(workload_row(comparisons.shape, static_cast<std::size_t>(i)));
    }
    std::string const library_file = comparisons.dir + "/batch-library.db";
    std::string const plain_file = comparisons.dir + "/batch-plain.db";
    std::vector<std::string> const names{"bench_batch"};

    auto const library = [&] {
        remove_database(library_file);
        register_sqlite(names.front(), library_file, false);
        int failures = 0;
        double const seconds = seconds_of([&] {
            failures += run_on(names, datastore::OP_BEGIN_BATCH, nullptr, nullptr) ? 0 : 1;
            for (InsertRequest& request : requests) {
                failures += run_on(names, datastore::OP_INSERT, nullptr, &request) ? 0 : 1;
            }
            failures += run_on(names, datastore::OP_COMMIT_BATCH, nullptr, nullptr) ? 0 : 1;
        });
        DataStoreParseUtility::clear_db_vector();
        remove_database(library_file);
        require(failures == 0, "a batched OP_INSERT failed");
        return seconds;
    };
    auto const baseline = [&] {
        // The plug-in lays out the file, as for the library's side.
        remove_database(plain_file);
        register_sqlite(names.front(), plain_file, false);
        DataStoreParseUtility::clear_db_vector();
        double seconds = 0;
        {
            PlainDatabase db(plain_file, false);
            db.exec("PRAGMA synchronous = NORMAL");
            PlainStatement insert(db, plain_insert_sql());
            seconds = seconds_of([&] {
                db.exec("BEGIN IMMEDIATE");
                for (InsertRequest const& request : requests) {
                    insert.insert_row(request);
                }
                db.exec("COMMIT");
            });
        }
        remove_database(plain_file);
        return seconds;
    };
    PairedSamples const samples = measure_paired(comparisons.repetitions, library, baseline);
    double const rows = static_cast<double>(requests.size());
    return {paired_figure(
        "batched OP_INSERT via execute_ioctl, one batch (" + std::to_string(requests.size()) +
            " rows)",
        "rows/s", samples, [rows](double seconds) { return rows / seconds; },
        Figure::Ratio::library_over_baseline, Figure::Goal::at_least, 0.8)};
}

std::vector<Figure> pruning(Comparisons const& comparisons) {
    std::size_t const total = comparisons.shape.rows();
    std::size_t const tenth = total / 10;
    // Stamps grow with the row index: the first tenth is older than row `tenth`.
    datastore::PruneRequest request;
    request.older_than = workload_row(comparisons.shape, tenth).header.Unique_timestamp;
    std::string const file = comparisons.dir + "/prune.db";
    std::vector<std::string> const names{"bench_prune"};
    std::vector<double> waits;

    auto const fresh_copy = [&] {
        remove_database(file);
        std::filesystem::copy_file(comparisons.database, file);
    };
    auto const library = [&] {
        fresh_copy();
        register_sqlite(names.front(), file, false);
        std::uint64_t removed = 0;
        double seconds = 0;
        {
            LatestRowReader reader(names.front());
            seconds = seconds_of([&] {
                require(run_on(names, datastore::OP_PRUNE, &request, &removed), "OP_PRUNE failed");
            });
            waits.push_back(reader.stop());
        }
        DataStoreParseUtility::clear_db_vector();
        require(removed == tenth, "OP_PRUNE removed " + std::to_string(removed) + " rows, not " +
                                      std::to_string(tenth));
        return seconds;
    };
    auto const baseline = [&] {
        fresh_copy();
        PlainDatabase db(file, false);
        db.exec("PRAGMA synchronous = NORMAL");
        return seconds_of([&] {
            db.exec("DELETE FROM " + datastore::table_name + " WHERE Unique_timestamp < " +
                    std::to_string(request.older_than));
            db.exec("PRAGMA incremental_vacuum");
        });
    };
    PairedSamples const samples = measure_paired(
        std::min(comparisons.repetitions, max_pruning_repetitions), library, baseline);
    remove_database(file);
    auto const milliseconds = [](double seconds) { return seconds * 1e3; };
    std::vector<double> wait_ms;
    for (double const wait : waits) {
        wait_ms.push_back(milliseconds(wait));
    }
    std::string const rows = " (" + std::to_string(tenth) + " of " + std::to_string(total) + ")";
    return {paired_figure("OP_PRUNE in chunks vs one DELETE, oldest tenth" + rows, "ms", samples,
                          milliseconds, Figure::Ratio::library_over_baseline, Figure::Goal::at_most,
                          1.5),
            absolute_figure("longest latest-row read of the same instance while pruning", "ms",
                            wait_ms, Figure::Goal::at_most, 100)};
}

}  // namespace vexa::bench
