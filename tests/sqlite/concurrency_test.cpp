// Many threads using the same open SQLite instances at once, through the
// front end's query functions and OP_INSERT: every call succeeds, each thread
// reads back what it wrote, and every row is stored exactly once. Under the
// ThreadSanitizer build (-DVEXA_TSAN=ON) the same test also proves that no
// data race happens on the way.
#include <atomic>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreParseUtility;
using vexa::datastore::InsertRequest;
using vexa::datastore::Row;

constexpr int kThreads = 8;
constexpr int kRunsPerThread = 100;
constexpr int kHostsPerThread = 4;
std::vector<std::string> const kInstances{"left", "right"};

// The stamp of thread `thread`'s run `run`: unique across the whole test.
std::int64_t stamp_of(int thread, int run) { return thread * 1000 + run; }

class ConcurrentUse : public ::testing::Test {
  protected:
    void SetUp() override {
        for (std::string const& name : kInstances) {
            vexa::test::open_sqlite(name,
                                    vexa::test::sqlite_params(dir_.file(name + ".db"), false));
        }
    }
    void TearDown() override { DataStoreParseUtility::clear_db_vector(); }

    vexa::test::TempDir dir_;
};

// Counts the calls that went wrong, so that a failing run reports totals
// rather than thousands of lines from eight threads.
struct Failures {
    std::atomic<int> inserts{0};
    std::atomic<int> own_rows{0};
    std::atomic<int> latest_rows{0};
};

// Stores thread `thread`'s runs, alternating between the two instances, and
// after each one reads back its own provider's rows and latest rows while the
// other threads do the same.
void use_datastores(int thread, Failures& failures) {
    std::string const provider = "p" + std::to_string(thread);
    std::map<std::string, std::int64_t> latest_by_host;
    std::size_t stored = 0;
    for (int run = 0; run < kRunsPerThread; ++run) {
        std::string const host = "h" + std::to_string(run % kHostsPerThread);
        InsertRequest request = vexa::test::provider_run(provider, host, stamp_of(thread, run));
        std::string const& instance = kInstances[run % kInstances.size()];
        if (vexa::datastore::execute_ioctl({instance}, vexa::datastore::OP_INSERT, nullptr,
                                           &request, nullptr, nullptr) != 1) {
            ++failures.inserts;
            continue;
        }
        ++stored;
        latest_by_host[host] = request.header.Unique_timestamp;

        std::vector<Row> own;
        vexa::datastore::select_provider_data({provider}, own, "");
        if (own.size() != stored) {
            ++failures.own_rows;
        }

        std::vector<Row> latest;
        vexa::datastore::get_latest_rows_provider_hosts_data({provider}, latest, {});
        bool latest_right = latest.size() == latest_by_host.size();
        for (Row const& row : latest) {
            latest_right = latest_right && latest_by_host[row.Hostname] == row.Unique_timestamp;
        }
        if (!latest_right) {
            ++failures.latest_rows;
        }

        std::vector<Row> unused;
        vexa::datastore::get_hosts_data(unused, vexa::datastore::column_index_map);
        vexa::datastore::select_data("SELECT * FROM vexa_1 WHERE Hostname = '" + host + "';",
                                     unused, vexa::datastore::column_index_map);
    }
}

TEST_F(ConcurrentUse, EightThreadsQueryingAndInsertingLoseNothingAndStoreEachRowOnce) {
    Failures failures;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back(use_datastores, thread, std::ref(failures));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures.inserts, 0);
    EXPECT_EQ(failures.own_rows, 0);
    EXPECT_EQ(failures.latest_rows, 0);

    std::vector<Row> rows;
    ASSERT_TRUE(vexa::datastore::select_data("SELECT * FROM vexa_1;", rows,
                                             vexa::datastore::column_index_map));
    EXPECT_EQ(rows.size(), static_cast<std::size_t>(kThreads * kRunsPerThread));
    std::set<std::int64_t> stamps;
    for (Row const& row : rows) {
        stamps.insert(row.Unique_timestamp);
        // Runs alternate between the instances, even ones to the first.
        std::int64_t const run = row.Unique_timestamp % 1000;
        EXPECT_EQ(row.datastore_source, kInstances[run % 2]) << row.Unique_timestamp;
    }
    EXPECT_EQ(stamps.size(), rows.size()) << "a row was stored more than once";
}

}  // namespace
