// Read-only instances of a WAL datastore for other users: a user who may
// read the database file but not write its directory reads every row,
// whether the writer is still open or has closed, and leaves no file of its
// own behind. Permissions bind root only in name, so the reader runs in a
// child process that gives up root first (as an ordinary user it runs as
// that user).
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "child_process.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::Row;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::provider_run;
using vexa::test::select_query;
using vexa::test::sqlite_params;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr uid_t kNobody = 65534;

class SqliteSharedReaders : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(chmod(dir_.path().c_str(), 0755), 0); }
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    // How many rows a read-only instance of `file_` shows to an unprivileged
    // user, or a negative code for what went wrong in the child.
    int rows_read_by_another_user() const {
        return vexa::test::in_child_process([this] {
            if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
                return 200;
            }
            vexa::test::StderrCapture quiet;
            open_sqlite("reader", sqlite_params(file_, true));
            std::vector<Row> rows;
            if (select_query("reader", "SELECT * FROM vexa_1;", rows) != kOk) {
                return 201;
            }
            return static_cast<int>(rows.size());
        });
    }

    // Owner of every file in the datastore's directory.
    std::vector<std::string> owners() const {
        std::vector<std::string> found;
        for (auto const& entry : std::filesystem::directory_iterator(dir_.path())) {
            struct stat status;
            EXPECT_EQ(stat(entry.path().c_str(), &status), 0);
            found.push_back(entry.path().filename().string() + " " + std::to_string(status.st_uid));
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    // Runs `first` to `first` + `count` - 1: a run stored again would be
    // the same record, stored once.
    void write_rows(int count, int first = 0) {
        for (int i = first; i < first + count; ++i) {
            ASSERT_EQ(insert_run("writer", provider_run("p", "h" + std::to_string(i), i)), kOk);
        }
    }

    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("store.db");
};

TEST_F(SqliteSharedReaders, AnotherUserReadsAClosedDatastore) {
    open_sqlite("writer", sqlite_params(file_, false));
    write_rows(3);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    // Kept for readers, emptied: the rows are all in the database file.
    EXPECT_EQ(std::filesystem::file_size(file_ + "-wal"), 0u);
    EXPECT_TRUE(vexa::test::exists(file_ + "-shm"));
    std::vector<std::string> const before = owners();

    EXPECT_EQ(rows_read_by_another_user(), 3);
    EXPECT_EQ(owners(), before);
}

TEST_F(SqliteSharedReaders, AnotherUserReadsWhileTheWriterIsOpen) {
    open_sqlite("writer", sqlite_params(file_, false));
    write_rows(2);
    std::vector<std::string> const before = owners();

    EXPECT_EQ(rows_read_by_another_user(), 2);
    write_rows(2, 2);
    EXPECT_EQ(rows_read_by_another_user(), 4);
    EXPECT_EQ(owners(), before);
}

}  // namespace
