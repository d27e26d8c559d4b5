// Batches of OP_INSERT on real SQLite files: one transaction, rolled back
// whole on failure, committed at close, never seen half by another process
// and never left half by a writer that dies.
#include <arpa/inet.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "child_process.h"
#include "sqlite_datastores.h"
#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::DataStoreParseUtility;
using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::datastore::OP_QUERY_TABLE;
using vexa::datastore::Row;
using vexa::datastore::Table;
using vexa::test::ChildProcess;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::select_query;
using vexa::test::sqlite_params;
using vexa::test::StderrCapture;

constexpr int kOk = DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = DataStoreExtension::OPERATION_UNSUCCESSFULL;

int begin_batch(std::string const& name) { return control(name, OP_BEGIN_BATCH, nullptr, nullptr); }
int commit_batch(std::string const& name) {
    return control(name, OP_COMMIT_BATCH, nullptr, nullptr);
}

// Inserts `count` runs of `provider` on instance `name`; false at the first
// that fails.
bool insert_runs(std::string const& name, std::string const& provider, int count) {
    for (int i = 0; i < count; ++i) {
        if (insert_run(name, provider_run(provider, "h" + std::to_string(i % 50), i)) != kOk) {
            return false;
        }
    }
    return true;
}

std::string count_of(std::string const& file, std::string const& where = "1") {
    return PlainConnection(file)
        .rows("SELECT count(*) FROM provider_datastore WHERE " + where)
        .front();
}

std::uint32_t big_endian_at(std::string const& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return ntohl(value);
}

// The transactions committed to the write-ahead log of `file` since it was
// last restarted: its frames that carry the log's current salt and mark a
// commit (a database size after the commit).
int commits_in_log(std::string const& file) {
    std::string const log = vexa::test::read_file(file + "-wal");
    constexpr std::size_t header = 32;
    constexpr std::size_t frame_header = 24;
    if (log.size() < header) {
        return 0;
    }
    std::size_t const page = big_endian_at(log, 8);
    std::uint32_t const salt1 = big_endian_at(log, 16);
    std::uint32_t const salt2 = big_endian_at(log, 20);
    int commits = 0;
    for (std::size_t at = header; at + frame_header + page <= log.size();
         at += frame_header + page) {
        if (big_endian_at(log, at + 8) != salt1 || big_endian_at(log, at + 12) != salt2) {
            break;
        }
        if (big_endian_at(log, at + 4) != 0) {
            ++commits;
        }
    }
    return commits;
}

class Batch : public vexa::test::RegistryTest {
  protected:
    std::string open_store(std::string const& name = "rw") {
        open_sqlite(name, sqlite_params(file_, false));
        return file_;
    }

    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("batch.db");
};

TEST_F(Batch, RowsAppearToOthersAtTheCommitAndToReadsInsideAtOnce) {
    open_store();
    ASSERT_EQ(begin_batch("rw"), kOk);
    ASSERT_TRUE(insert_runs("rw", "cpu", 3));

    std::vector<Row> rows;
    ASSERT_EQ(select_query("rw", "SELECT * FROM vexa_1", rows), kOk);
    EXPECT_EQ(rows.size(), 3u);
    EXPECT_EQ(count_of(file_), "0");

    ASSERT_EQ(commit_batch("rw"), kOk);
    EXPECT_EQ(count_of(file_), "3");
}

TEST_F(Batch, AHundredThousandInsertsCommitOnce) {
    open_store();
    // An empty log counts from zero; three single inserts are three commits.
    PlainConnection(file_, false).execute("PRAGMA wal_checkpoint(TRUNCATE);");
    ASSERT_TRUE(insert_runs("rw", "single", 3));
    ASSERT_EQ(commits_in_log(file_), 3);
    PlainConnection(file_, false).execute("PRAGMA wal_checkpoint(TRUNCATE);");

    ASSERT_EQ(begin_batch("rw"), kOk);
    ASSERT_TRUE(insert_runs("rw", "batched", 100'000));
    ASSERT_EQ(commit_batch("rw"), kOk);

    EXPECT_EQ(commits_in_log(file_), 1);
    EXPECT_EQ(count_of(file_, "Provider = 'batched'"), "100000");
}

TEST_F(Batch, AFailedInsertRollsTheBatchBackAndSaysSo) {
    open_store();
    ASSERT_TRUE(insert_runs("rw", "before", 2));
    PlainConnection(file_, false)
        .execute(
            "CREATE TRIGGER refuse BEFORE INSERT ON provider_datastore WHEN NEW.Provider = 'bad' "
            "BEGIN SELECT RAISE(ABORT, 'bad provider'); END;");
    ASSERT_EQ(begin_batch("rw"), kOk);
    ASSERT_TRUE(insert_runs("rw", "good", 5));
    StderrCapture err;

    EXPECT_EQ(insert_run("rw", provider_run("bad", "h", 1)), kFailed);

    std::string const log = err.text();
    std::string const line =
        "Datastore \"rw\": batch rolled back: an insert failed: bad provider\n";
    ASSERT_GE(log.size(), line.size());
    EXPECT_EQ(log.substr(log.size() - line.size()), line);
    // The rest of a lost batch is refused, and so is its commit.
    EXPECT_EQ(insert_run("rw", provider_run("late", "h", 2)), kFailed);
    EXPECT_EQ(commit_batch("rw"), kFailed);
    EXPECT_EQ(count_of(file_), "2");
    // The next batch starts afresh.
    ASSERT_EQ(begin_batch("rw"), kOk);
    ASSERT_TRUE(insert_runs("rw", "after", 4));
    ASSERT_EQ(commit_batch("rw"), kOk);
    EXPECT_EQ(count_of(file_), "6");
}

TEST_F(Batch, ABatchStillOpenAtCloseIsCommitted) {
    open_store();
    ASSERT_EQ(begin_batch("rw"), kOk);
    ASSERT_TRUE(insert_runs("rw", "cpu", 7));

    DataStoreParseUtility::clear_db_vector();

    EXPECT_EQ(count_of(file_), "7");
}

TEST_F(Batch, ASecondBeginFailsAndKeepsTheOpenBatch) {
    open_store();
    ASSERT_EQ(begin_batch("rw"), kOk);
    ASSERT_TRUE(insert_runs("rw", "cpu", 2));

    EXPECT_EQ(begin_batch("rw"), kFailed);

    ASSERT_TRUE(insert_runs("rw", "mem", 1));
    EXPECT_EQ(count_of(file_), "0");
    EXPECT_EQ(commit_batch("rw"), kOk);
    EXPECT_EQ(count_of(file_), "3");
}

TEST_F(Batch, CommitWithoutABatchSucceedsAndAReadOnlyInstanceCannotBegin) {
    open_store();
    open_sqlite("ro", sqlite_params(file_, true));

    EXPECT_EQ(commit_batch("rw"), kOk);
    EXPECT_EQ(begin_batch("ro"), kFailed);
    EXPECT_EQ(commit_batch("ro"), kOk);
}

TEST_F(Batch, AWriterKilledInMidBatchLeavesEarlierBatchesWholeAndNoneOfItsOwn) {
    ChildProcess writer([this](ChildProcess& self) {
        open_store();
        for (std::string const provider : {"first", "second"}) {
            if (begin_batch("rw") != kOk || !insert_runs("rw", provider, 1000) ||
                commit_batch("rw") != kOk) {
                return 1;
            }
        }
        if (begin_batch("rw") != kOk || !insert_runs("rw", "third", 500)) {
            return 2;
        }
        self.send('k');
        self.receive();  // killed while waiting here
        return 3;
    });
    ASSERT_EQ(writer.receive(), 'k');

    writer.kill();

    PlainConnection db(file_);
    EXPECT_EQ(db.rows("PRAGMA integrity_check;"), std::vector<std::string>{"ok"});
    EXPECT_EQ(db.rows("SELECT Provider, count(*) FROM provider_datastore GROUP BY Provider "
                      "ORDER BY Provider;"),
              (std::vector<std::string>{"first|1000", "second|1000"}));
}

TEST_F(Batch, AReaderInAnotherProcessSeesTheDataBeforeTheBatchOrAllOfIt) {
    constexpr int before = 100;
    constexpr int batched = 20'000;
    ChildProcess reader([this](ChildProcess& self) {
        if (self.receive() != 'g') {
            return 1;
        }
        open_sqlite("ro", sqlite_params(file_, true));
        std::string const sql = "SELECT count(*) FROM vexa_1";
        std::string const whole = std::to_string(before + batched);
        bool told = false;
        for (int reads = 0; reads < 1'000'000; ++reads) {
            Table table;
            if (control("ro", OP_QUERY_TABLE, &sql, &table) != kOk) {
                return 2;
            }
            std::string const seen = *table.rows.at(0).at(0);
            if (seen == whole) {
                return told ? 0 : 3;
            }
            if (seen != std::to_string(before)) {
                return 4;  // half a batch
            }
            if (!told) {
                self.send('r');
                told = true;
            }
        }
        return 5;
    });
    open_store();
    ASSERT_TRUE(insert_runs("rw", "early", before));
    reader.send('g');
    ASSERT_EQ(reader.receive(), 'r');

    ASSERT_EQ(begin_batch("rw"), kOk);
    ASSERT_TRUE(insert_runs("rw", "batched", batched));
    ASSERT_EQ(commit_batch("rw"), kOk);

    EXPECT_EQ(reader.wait(), 0);
}

TEST_F(Batch, AnInsertRacingTheFailureOfAnotherNeverCommitsOutsideTheLostBatch) {
    open_store();
    vexa::test::ScopedLogLevel const quiet(3);  // two hundred expected rollbacks
    auto bad = provider_run("bad", "h", 0);
    bad.header.node_names = {"a,b"};  // refused, which loses the batch
    for (int round = 0; round < 200; ++round) {
        ASSERT_EQ(begin_batch("rw"), kOk);
        std::atomic<bool> stop{false};
        std::atomic<int> started{0};
        std::vector<std::thread> writers;
        for (int w = 0; w < 3; ++w) {
            writers.emplace_back([&, w] {
                ++started;
                for (int i = 0; !stop; ++i) {
                    insert_run("rw", provider_run("good", "h" + std::to_string(w), i));
                }
            });
        }
        while (started < 3) {
            std::this_thread::yield();
        }
        EXPECT_EQ(insert_run("rw", bad), kFailed);
        stop = true;
        for (auto& writer : writers) {
            writer.join();
        }
        EXPECT_EQ(commit_batch("rw"), kFailed);
        // Every good row went into the lost batch or was refused after it.
        ASSERT_EQ(count_of(file_), "0") << "round " << round;
    }
}

}  // namespace
