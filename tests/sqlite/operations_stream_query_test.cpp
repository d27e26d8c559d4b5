// Streamed reads: OP_STREAM_QUERY on real SQLite files through the
// controller, and stream_table / stream_rows over the registry, beside a
// plug-in that serves none of the project's own opcodes.
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::DatastoreFailure;
using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::datastore::OP_STREAM_QUERY;
using vexa::datastore::Row;
using vexa::datastore::stream_rows;
using vexa::datastore::stream_table;
using vexa::datastore::StreamRequest;
using vexa::datastore::StreamResult;
using vexa::datastore::Table;
using vexa::test::contents_of;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::provider_run;
using vexa::test::register_steered;
using vexa::test::ScopedLogLevel;
using vexa::test::select_query;
using vexa::test::sqlite_params;
using vexa::test::StderrCapture;

constexpr int kOk = DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = DataStoreExtension::OPERATION_UNSUCCESSFULL;
constexpr int kUnsupported = DataStoreExtension::UNSUPPORTED_OPERATION;

using Cells = std::vector<std::optional<std::string>>;

class StreamQuery : public vexa::test::RegistryTest {
  protected:
    // Opens a writable instance `name` on a fresh file holding `runs` rows of
    // provider "cpu", stamped 1 to `runs`.
    std::string open_store(std::string const& name, int runs = 0) {
        std::string const file = dir_.file(name + ".db");
        open_sqlite(name, sqlite_params(file, false));
        EXPECT_EQ(control(name, OP_BEGIN_BATCH, nullptr, nullptr), kOk);
        for (int stamp = 1; stamp <= runs; ++stamp) {
            EXPECT_EQ(insert_run(name, provider_run("cpu", "h" + std::to_string(stamp % 5), stamp)),
                      kOk);
        }
        EXPECT_EQ(control(name, OP_COMMIT_BATCH, nullptr, nullptr), kOk);
        return file;
    }

    // Streams `sql` from `name` into table blocks, kept in `blocks`.
    int stream_cells(std::string const& name, std::string const& sql, std::size_t block_rows,
                     std::vector<Table>& blocks, StreamResult& result) {
        StreamRequest request;
        request.query = sql;
        request.block_rows = block_rows;
        request.on_table = [&](Table const& block) {
            blocks.push_back(block);
            return true;
        };
        return control(name, OP_STREAM_QUERY, &request, &result);
    }

    vexa::test::TempDir dir_;
};

TEST_F(StreamQuery, CellBlocksArriveInOrderWithTheirColumns) {
    open_store("rw", 2500);
    std::vector<Table> blocks;
    StreamResult result;

    ASSERT_EQ(stream_cells("rw",
                           "SELECT Unique_timestamp - 1700000000000000 AS n FROM vexa_1 "
                           "ORDER BY Unique_timestamp",
                           1000, blocks, result),
              kOk);

    ASSERT_EQ(blocks.size(), 3u);
    EXPECT_EQ(blocks[0].rows.size(), 1000u);
    EXPECT_EQ(blocks[1].rows.size(), 1000u);
    EXPECT_EQ(blocks[2].rows.size(), 500u);
    std::vector<Cells> all;
    for (auto const& block : blocks) {
        EXPECT_EQ(block.columns, std::vector<std::string>{"n"});
        all.insert(all.end(), block.rows.begin(), block.rows.end());
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(all[i], Cells{std::to_string(i + 1)});
    }
    EXPECT_EQ(result.rows, 2500u);
    EXPECT_EQ(result.failure, "");
}

TEST_F(StreamQuery, RecordBlocksHoldWhatOpSelectReads) {
    open_store("rw", 7);
    std::string const sql = "SELECT * FROM vexa_1 WHERE Provider = 'cpu'";
    std::vector<Row> whole;
    ASSERT_EQ(select_query("rw", sql, whole), kOk);
    std::vector<Row> streamed;
    std::vector<std::size_t> sizes;
    StreamRequest request;
    request.query = sql;
    request.block_rows = 3;
    request.on_rows = [&](std::vector<Row> const& block) {
        sizes.push_back(block.size());
        streamed.insert(streamed.end(), block.begin(), block.end());
        return true;
    };
    StreamResult result;

    ASSERT_EQ(control("rw", OP_STREAM_QUERY, &request, &result), kOk);

    EXPECT_EQ(sizes, (std::vector<std::size_t>{3, 3, 1}));
    ASSERT_EQ(streamed.size(), 7u);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        EXPECT_EQ(streamed[i].rowid, whole[i].rowid);
        EXPECT_EQ(streamed[i].node_names, whole[i].node_names);
        EXPECT_EQ(streamed[i].Duration, whole[i].Duration);
        EXPECT_EQ(streamed[i].Unique_timestamp, whole[i].Unique_timestamp);
        EXPECT_EQ(streamed[i].STDOUT, whole[i].STDOUT);
    }
}

TEST_F(StreamQuery, ACallbackThatSaysNoStopsTheRead) {
    open_store("rw", 2500);
    int calls = 0;
    StreamRequest request;
    request.query = "SELECT rowid FROM vexa_1";
    request.on_table = [&](Table const&) {
        ++calls;
        return false;
    };
    StreamResult result;

    ASSERT_EQ(control("rw", OP_STREAM_QUERY, &request, &result), kOk);

    EXPECT_EQ(calls, 1);
    EXPECT_EQ(result.rows, 1000u);
}

TEST_F(StreamQuery, AnEmptyResultIsOneBlockNamingItsColumns) {
    open_store("rw");
    std::vector<Table> blocks;
    StreamResult result;

    ASSERT_EQ(stream_cells("rw", "SELECT Provider, Hostname FROM vexa_1", 10, blocks, result), kOk);

    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0].columns, (std::vector<std::string>{"Provider", "Hostname"}));
    EXPECT_TRUE(blocks[0].rows.empty());
}

TEST_F(StreamQuery, WritesAndSecondStatementsAreRefusedBeforeTheyRun) {
    std::string const file = open_store("rw", 3);
    std::vector<std::string> const before = contents_of(file);

    for (std::string const& sql : {std::string("DELETE FROM provider_datastore"),
                                   std::string("SELECT 1; DELETE FROM provider_datastore")}) {
        std::vector<Table> blocks;
        StreamResult result;
        StderrCapture err;
        EXPECT_EQ(stream_cells("rw", sql, 10, blocks, result), kFailed) << sql;
        std::string const reason =
            (sql[0] == 'D' ? "not a read-only statement: " : "more than one statement: ") + sql;
        EXPECT_EQ(result.failure, reason);
        EXPECT_EQ(err.text(), "Datastore \"rw\": " + reason + "\n");
        EXPECT_TRUE(blocks.empty());
    }
    StreamResult result;
    std::vector<Table> blocks;
    EXPECT_EQ(stream_cells("rw", "PRAGMA journal_mode=DELETE", 10, blocks, result), kFailed);
    EXPECT_EQ(result.failure, "not authorized");
    EXPECT_EQ(contents_of(file), before);
}

TEST_F(StreamQuery, ARequestNeedsExactlyOneCallback) {
    open_store("rw");
    StreamRequest request;
    request.query = "SELECT 1";
    StreamResult result;
    StderrCapture err;

    EXPECT_EQ(control("rw", OP_STREAM_QUERY, &request, &result), kFailed);
    request.on_table = [](Table const&) { return true; };
    request.on_rows = [](std::vector<Row> const&) { return true; };
    EXPECT_EQ(control("rw", OP_STREAM_QUERY, &request, &result), kFailed);

    EXPECT_EQ(result.failure,
              "a streamed read needs exactly one callback, for records or for cells");
}

TEST_F(StreamQuery, APluginWithoutItAnswersUnsupported) {
    register_steered("plain", "");
    StreamRequest request;
    request.query = "SELECT 1";
    request.on_table = [](Table const&) { return true; };
    StreamResult result;

    EXPECT_EQ(control("plain", OP_STREAM_QUERY, &request, &result), kUnsupported);
}

TEST_F(StreamQuery, StreamTableNamesEachDatastoreFirstInRegistryOrder) {
    open_store("first", 2);
    open_store("second", 3);
    std::vector<Cells> rows;
    std::vector<std::string> columns;

    ASSERT_TRUE(
        stream_table("SELECT Hostname FROM vexa_1 ORDER BY rowid", 2, [&](Table const& block) {
            columns = block.columns;
            rows.insert(rows.end(), block.rows.begin(), block.rows.end());
            return true;
        }));

    EXPECT_EQ(columns, (std::vector<std::string>{"datastore", "Hostname"}));
    EXPECT_EQ(rows, (std::vector<Cells>{{"first", "h1"},
                                        {"first", "h2"},
                                        {"second", "h1"},
                                        {"second", "h2"},
                                        {"second", "h3"}}));
}

TEST_F(StreamQuery, StreamRowsFallsBackToWholeReadsAndStampsTheDatastore) {
    open_store("store", 1);
    register_steered("plain", "row=mem/node7/5|row=mem/node8/6");
    std::vector<std::string> sources;
    std::vector<std::string> hosts;
    std::vector<std::string> unsupported{"stale"};
    ScopedLogLevel debug(7);
    StderrCapture err;

    ASSERT_TRUE(stream_rows(
        "SELECT * FROM vexa_1", 1,
        [&](std::vector<Row> const& block) {
            EXPECT_EQ(block.size(), 1u);
            for (auto const& row : block) {
                sources.push_back(row.datastore_source);
                hosts.push_back(row.Hostname);
            }
            return true;
        },
        nullptr, &unsupported));

    EXPECT_EQ(err.text(), "Operation code 774 unsupported for plain\n");
    EXPECT_EQ(sources, (std::vector<std::string>{"store", "plain", "plain"}));
    EXPECT_EQ(hosts, (std::vector<std::string>{"h1", "node7", "node8"}));
    EXPECT_TRUE(unsupported.empty());
}

TEST_F(StreamQuery, StreamTableNamesWhoCannotAnswerAndWhoFailedWithTheirReason) {
    register_steered("plain", "");
    open_store("store", 1);
    register_steered("broken", "code=1");
    std::vector<std::string> unsupported;
    std::vector<DatastoreFailure> failures;
    std::vector<Cells> rows;
    auto const keep = [&](Table const& block) {
        rows.insert(rows.end(), block.rows.begin(), block.rows.end());
        return true;
    };

    ASSERT_TRUE(stream_table("SELECT 42 AS answer", 10, keep, &failures, &unsupported));
    EXPECT_EQ(unsupported, std::vector<std::string>{"plain"});
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].instance_name, "broken");
    EXPECT_EQ(failures[0].reason, "its plug-in gave no reason");
    EXPECT_EQ(rows, (std::vector<Cells>{{"store", "42"}}));

    EXPECT_FALSE(stream_table("SELECT nope FROM vexa_1", 10, keep, &failures, &unsupported));
    ASSERT_EQ(failures.size(), 2u);
    EXPECT_EQ(failures[0].instance_name, "store");
    EXPECT_EQ(failures[0].reason, "no such column: nope");
}

TEST_F(StreamQuery, StoppingEndsTheWholeReadAndACallbacksExceptionComesThrough) {
    open_store("first", 3);
    open_store("second", 3);
    std::vector<Cells> rows;

    ASSERT_TRUE(stream_table("SELECT rowid FROM vexa_1", 2, [&](Table const& block) {
        rows.insert(rows.end(), block.rows.begin(), block.rows.end());
        return false;
    }));
    EXPECT_EQ(rows, (std::vector<Cells>{{"first", "1"}, {"first", "2"}}));

    std::vector<DatastoreFailure> failures;
    EXPECT_THROW(
        stream_rows(
            "SELECT * FROM vexa_1", 2,
            [](std::vector<Row> const&) -> bool { throw std::runtime_error("full"); }, &failures),
        std::runtime_error);
    EXPECT_TRUE(failures.empty());
}

}  // namespace
