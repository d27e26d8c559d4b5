// Many processes opening one existing SQLite file for writing at once, as
// the collectors of a cluster do: opening must not need the write lock, so
// none of them gives up while another process writes.
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "child_process.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::test::ChildProcess;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::sqlite_params;

constexpr int kOk = DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kWriters = 64;
constexpr int kRunsPerWriter = 20;

// Opens `file` writable, tells the test, and once told to go stores one
// batch of runs of provider "w<writer>".
int open_and_store_a_batch(ChildProcess& self, std::string const& file, int writer) {
    try {
        open_sqlite("rw", sqlite_params(file, false));
    } catch (std::exception const&) {
        return 1;
    }
    self.send('o');
    if (self.receive() != 'g' || control("rw", OP_BEGIN_BATCH, nullptr, nullptr) != kOk) {
        return 2;
    }
    for (int i = 0; i < kRunsPerWriter; ++i) {
        if (insert_run("rw", provider_run("w" + std::to_string(writer), "h", i)) != kOk) {
            return 3;
        }
    }
    return control("rw", OP_COMMIT_BATCH, nullptr, nullptr) == kOk ? 0 : 4;
}

TEST(SqliteConcurrentWriters, EveryProcessOpensAnExistingFileWhileAnotherWrites) {
    vexa::test::TempDir dir;
    std::string const file = dir.file("shared.db");
    // Created by a process of its own: this one opens the file only after
    // the forks below, so nothing of SQLite's bookkeeping crosses them.
    ASSERT_EQ(vexa::test::in_child_process([&] {
                  open_sqlite("create", sqlite_params(file, false));
                  return 0;
              }),
              0);
    // Holds the write lock while the writers open, as a busy writer would.
    ChildProcess holder([&file](ChildProcess& self) {
        PlainConnection db(file, false);
        db.rows("BEGIN IMMEDIATE;");
        self.send('l');
        self.receive();
        db.rows("COMMIT;");
        return 0;
    });
    ASSERT_EQ(holder.receive(), 'l');

    std::vector<std::unique_ptr<ChildProcess>> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.push_back(std::make_unique<ChildProcess>([&file, writer](ChildProcess& self) {
            return open_and_store_a_batch(self, file, writer);
        }));
    }
    int opened = 0;
    for (auto& writer : writers) {
        opened += writer->receive() == 'o' ? 1 : 0;
    }
    EXPECT_EQ(opened, kWriters);
    holder.send('r');
    EXPECT_EQ(holder.wait(), 0);
    for (auto& writer : writers) {
        writer->send('g');
    }
    std::vector<int> statuses;
    for (auto& writer : writers) {
        statuses.push_back(writer->wait());
    }
    EXPECT_EQ(statuses, std::vector<int>(kWriters, 0));

    PlainConnection db(file);
    EXPECT_EQ(db.rows("SELECT count(*), count(DISTINCT Provider || '/' || Timestamp) "
                      "FROM provider_datastore;"),
              std::vector<std::string>{std::to_string(kWriters * kRunsPerWriter) + "|" +
                                       std::to_string(kWriters * kRunsPerWriter)});
    EXPECT_EQ(db.rows("SELECT count(DISTINCT Provider) FROM provider_datastore;"),
              std::vector<std::string>{std::to_string(kWriters)});
}

}  // namespace
