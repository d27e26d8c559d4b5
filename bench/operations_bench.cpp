#include "operations_bench.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
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
// Threads inserting into the instance being pruned, as a busy collector's.
constexpr int pruning_writers = 16;

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

// Inserts rows into `instance` from `threads` threads until told to stop,
// keeping the longest call: how long a writer of the same instance waits.
class ConcurrentInserters {
  public:
    ConcurrentInserters(std::string instance, WorkloadShape const& shape, int threads)
        : names_{std::move(instance)} {
        for (int t = 0; t < threads; ++t) {
            threads_.emplace_back([this, shape, t, threads] { insert(shape, t, threads); });
        }
    }
    ~ConcurrentInserters() { stop(); }
    ConcurrentInserters(ConcurrentInserters const&) = delete;
    ConcurrentInserters& operator=(ConcurrentInserters const&) = delete;

    // Stops the threads; the longest call in seconds.
    double stop() {
        stop_ = true;
        for (std::thread& thread : threads_) {
            if (thread.joinable()) {
                thread.join();
            }
        }
        require(failures_ == 0, "an insert failed while pruning");
        return longest_seconds_.load();
    }

  private:
    void insert(WorkloadShape const& shape, int first, int step) {
        // Rows past the workload's end: newer than anything pruned.
        for (std::size_t i = shape.rows() + static_cast<std::size_t>(first); !stop_;
             i += static_cast<std::size_t>(step)) {
            InsertRequest request = workload_row(shape, i);
            auto const start = std::chrono::steady_clock::now();
            failures_ += run_on(names_, datastore::OP_INSERT, nullptr, &request) ? 0 : 1;
            double const seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            double longest = longest_seconds_.load();
            while (seconds > longest && !longest_seconds_.compare_exchange_weak(longest, seconds)) {
            }
        }
    }

    std::vector<std::string> const names_;
    std::atomic<bool> stop_{false};
    std::atomic<double> longest_seconds_{0};
    std::atomic<int> failures_{0};
    std::vector<std::thread> threads_;
};

// Inserts rows into `file` through a connection of its own, as another
// process writing the same file would, until told to stop.
class OtherConnectionWriter {
  public:
    OtherConnectionWriter(std::string file, WorkloadShape const& shape)
        : file_(std::move(file)), thread_([this, shape] { insert(shape); }) {}
    ~OtherConnectionWriter() { stop(); }
    OtherConnectionWriter(OtherConnectionWriter const&) = delete;
    OtherConnectionWriter& operator=(OtherConnectionWriter const&) = delete;

    // Stops the thread; the number of rows it inserted.
    long stop() {
        stop_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        require(failure_.empty(), "the other connection's insert failed: " + failure_);
        return rows_;
    }

  private:
    void insert(WorkloadShape const& shape) {
        try {
            PlainDatabase db(file_, false);
            // The pruning holds the write lock for a chunk at a time.
            db.exec("PRAGMA busy_timeout = 10000");
            PlainStatement statement(db, plain_insert_sql());
            for (std::size_t i = shape.rows(); !stop_; ++i) {
                statement.insert_row(workload_row(shape, i));
                ++rows_;
                // A collector's rows arrive spaced; back to back, this
                // connection would hold the write lock nearly always and
                // starve the pruning's busy wait.
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        } catch (std::exception const& error) {
            failure_ = error.what();
        }
    }

    std::string const file_;
    std::atomic<bool> stop_{false};
    long rows_ = 0;
    std::string failure_;
    std::thread thread_;
};

// Polls the size of `file` every millisecond until stopped, keeping the
// largest: the write-ahead log's peak.
class PeakFileSize {
  public:
    explicit PeakFileSize(std::string file)
        : file_(std::move(file)), thread_([this] { watch(); }) {}
    ~PeakFileSize() { stop(); }
    PeakFileSize(PeakFileSize const&) = delete;
    PeakFileSize& operator=(PeakFileSize const&) = delete;

    // Stops polling; the peak in bytes.
    std::uintmax_t stop() {
        stop_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        return peak_;
    }

  private:
    void watch() {
        while (!stop_) {
            std::error_code error;
            std::uintmax_t const size = std::filesystem::file_size(file_, error);
            if (!error) {
                peak_ = std::max(peak_, size);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    std::string const file_;
    std::atomic<bool> stop_{false};
    std::uintmax_t peak_ = 0;
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

    auto const fresh_copy = [&] { copy_database(comparisons.database, file); };
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
    int const repetitions = std::min(comparisons.repetitions, max_pruning_repetitions);
    PairedSamples const samples = measure_paired(repetitions, library, baseline);
    // The same pruning with writers of the same instance beside it.
    std::vector<double> insert_ms;
    std::vector<double> log_mib;
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        fresh_copy();
        register_sqlite(names.front(), file, false);
        std::uint64_t removed = 0;
        {
            PeakFileSize log_size(file + "-wal");
            ConcurrentInserters inserters(names.front(), comparisons.shape, pruning_writers);
            require(run_on(names, datastore::OP_PRUNE, &request, &removed), "OP_PRUNE failed");
            insert_ms.push_back(inserters.stop() * 1e3);
            log_mib.push_back(static_cast<double>(log_size.stop()) / (1024.0 * 1024.0));
        }
        DataStoreParseUtility::clear_db_vector();
        require(removed == tenth, "OP_PRUNE beside writers removed " + std::to_string(removed) +
                                      " rows, not " + std::to_string(tenth));
    }
    // And with a writer on another connection of the same file, whose
    // commits the pruning's checkpoints must keep up with.
    std::vector<double> other_log_mib;
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        fresh_copy();
        register_sqlite(names.front(), file, false);
        std::uint64_t removed = 0;
        {
            PeakFileSize log_size(file + "-wal");
            OtherConnectionWriter writer(file, comparisons.shape);
            require(run_on(names, datastore::OP_PRUNE, &request, &removed), "OP_PRUNE failed");
            require(writer.stop() > 0, "the other connection inserted nothing while pruning");
            other_log_mib.push_back(static_cast<double>(log_size.stop()) / (1024.0 * 1024.0));
        }
        DataStoreParseUtility::clear_db_vector();
        require(removed == tenth, "OP_PRUNE beside another connection removed " +
                                      std::to_string(removed) + " rows, not " +
                                      std::to_string(tenth));
    }
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
                            wait_ms, Figure::Goal::at_most, 100),
            absolute_figure("longest OP_INSERT of " + std::to_string(pruning_writers) +
                                " threads of the same instance while pruning",
                            "ms", insert_ms, Figure::Goal::at_most, 250),
            absolute_figure("peak -wal size while pruning beside those writers", "MiB", log_mib,
                            Figure::Goal::at_most, 64),
            absolute_figure("peak -wal size while pruning beside a writer on another connection",
                            "MiB", other_log_mib, Figure::Goal::at_most, 64)};
}

}  // namespace vexa::bench
