// Many processes writing into one PostgreSQL database at once while another
// reads it, as the nodes of a cluster report into a central server.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "child_process.h"
#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::Row;
using vexa::test::ChildProcess;

constexpr int writers = 8;
constexpr int runs_per_writer = 150;

// The body of writer `w`: its own instance, its own runs; exit status 0
// when every insert succeeded, else the number that failed (at most 100).
int write_runs(int w, std::string const& source) {
    int failed = 0;
    try {
        vexa::test::open_odbc("writer", source);
        for (int i = 0; i < runs_per_writer; ++i) {
            std::string const host = "w" + std::to_string(w);
            if (vexa::test::insert_run("writer", vexa::test::provider_run("p", host, i)) != 0) {
                ++failed;
            }
        }
    } catch (...) {
        failed = 100;
    }
    return failed > 100 ? 100 : failed;
}

TEST(OdbcWriters, EightWriterProcessesAndAReaderStoreEveryRowOnceWithoutAnError) {
    std::string const db = vexa::test::fresh_database();
    std::string const source = vexa::test::pg_source(db);
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int w = 0; w < writers; ++w) {
        children.push_back(std::make_unique<ChildProcess>(
            [w, &source](ChildProcess&) { return write_runs(w, source); }));
    }

    // The reader: opening while the writers create the schema, then reading
    // until they are done.
    vexa::test::open_odbc("reader", source);
    int reads = 0;
    int failed_reads = 0;
    std::size_t seen = 0;
    std::vector<int> statuses(writers, -1);
    for (int running = writers; running > 0;) {
        for (int w = 0; w < writers; ++w) {
            std::optional<int> const status =
                statuses[w] == -1 ? children[w]->finished() : std::nullopt;
            if (status) {
                statuses[w] = *status == -1 ? 255 : *status;
                --running;
            }
        }
        std::vector<Row> rows;
        if (vexa::test::select_query("reader", "SELECT * FROM vexa_1", rows) != 0) {
            ++failed_reads;
        }
        EXPECT_GE(rows.size(), seen);
        seen = rows.size();
        ++reads;
    }
    EXPECT_EQ(failed_reads, 0);
    EXPECT_GT(reads, 1);
    EXPECT_EQ(statuses, std::vector<int>(writers, 0)) << "failed inserts per writer";
    EXPECT_EQ(vexa::test::psql(db,
                               "SELECT count(*), count(DISTINCT (Hostname, Unique_timestamp)) "
                               "FROM provider_datastore;"),
              std::to_string(writers * runs_per_writer) + "|" +
                  std::to_string(writers * runs_per_writer) + "\n");
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
}

}  // namespace
