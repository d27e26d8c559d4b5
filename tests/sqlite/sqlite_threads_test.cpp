// One open SQLite instance shared by many threads: writers and readers at
// the same time lose nothing and fail nothing.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::Row;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::select_query;
using vexa::test::sqlite_params;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kWriters = 8;
constexpr int kInsertsPerWriter = 300;

class SqliteThreads : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    vexa::test::TempDir dir_;
};

TEST_F(SqliteThreads, ConcurrentInsertsAndQueriesOnOneInstanceLoseNothing) {
    std::string const file = dir_.file("shared.db");
    open_sqlite("shared", sqlite_params(file, false));

    std::atomic<int> failed_inserts{0};
    std::atomic<int> failed_queries{0};
    std::atomic<bool> writing{true};
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w) {
        writers.emplace_back([w, &failed_inserts] {
            for (int i = 0; i < kInsertsPerWriter; ++i) {
                auto const run = provider_run("p" + std::to_string(w), "host" + std::to_string(i),
                                              w * kInsertsPerWriter + i);
                if (insert_run("shared", run) != kOk) {
                    ++failed_inserts;
                }
            }
        });
    }
    std::vector<std::thread> readers;
    for (int r = 0; r < 2; ++r) {
        readers.emplace_back([&writing, &failed_queries] {
            do {
                std::vector<Row> rows;
                if (select_query("shared", "SELECT * FROM vexa_1 WHERE Hostname = 'host7';",
                                 rows) != kOk) {
                    ++failed_queries;
                }
            } while (writing);
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    writing = false;
    for (std::thread& reader : readers) {
        reader.join();
    }

    EXPECT_EQ(failed_inserts, 0);
    EXPECT_EQ(failed_queries, 0);
    std::vector<Row> rows;
    ASSERT_EQ(select_query("shared", "SELECT * FROM vexa_1;", rows), kOk);
    EXPECT_EQ(rows.size(), static_cast<size_t>(kWriters * kInsertsPerWriter));
    PlainConnection db(file);
    EXPECT_EQ(db.rows("SELECT COUNT(*), COUNT(DISTINCT Unique_timestamp) FROM provider_datastore;"),
              (std::vector<std::string>{"2400|2400"}));
}

}  // namespace
