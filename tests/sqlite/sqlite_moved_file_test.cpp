// A database file deleted, renamed away or replaced under a running writer:
// the writer must not acknowledge rows that are not in the file at its path
// (they would go to the file it still has open), nor damage the file now at
// the path.
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::DataStoreParseUtility;
using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::sqlite_params;
using vexa::test::StderrCapture;

constexpr int kOk = DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = DataStoreExtension::OPERATION_UNSUCCESSFULL;

class MovedFile : public vexa::test::RegistryTest {
  protected:
    // A closed datastore file at `other_` holding the runs "other" 1 and 2,
    // then the live instance "rw" on `file_` holding the runs "live" 1 to 3.
    void SetUp() override {
        open_sqlite("other", sqlite_params(other_, false));
        ASSERT_TRUE(insert_all("other", "other", 1, 2));
        DataStoreParseUtility::clear_db_vector();
        open_sqlite("rw", sqlite_params(file_, false));
        ASSERT_TRUE(insert_all("rw", "live", 1, 3));
    }

    static bool insert_all(std::string const& name, std::string const& provider, int first,
                           int last) {
        for (int stamp = first; stamp <= last; ++stamp) {
            if (insert_run(name, provider_run(provider, "h", stamp)) != kOk) {
                return false;
            }
        }
        return true;
    }

    void replace_by_other() { ASSERT_EQ(std::rename(other_.c_str(), file_.c_str()), 0); }
    void remove_file() { ASSERT_EQ(std::remove(file_.c_str()), 0); }

    // The last line the instance "rw" logs when a call finds its file moved.
    std::string moved_line() const {
        return "sqlite3 " + file_ + ": the database file " + file_ +
               " was deleted, renamed or replaced while open; nothing more is written to it\n";
    }
    std::string rolled_back_line() const {
        return "Datastore \"rw\": batch rolled back: the database file " + file_ +
               " was deleted, renamed or replaced while open; nothing more is written to it\n";
    }

    // After the writer closed: what the file at the path holds, and its check.
    std::vector<std::string> rows_at_path() {
        DataStoreParseUtility::clear_db_vector();
        PlainConnection db(file_, false);
        EXPECT_EQ(db.rows("PRAGMA integrity_check;"), std::vector<std::string>{"ok"});
        if (db.rows("SELECT count(*) FROM sqlite_master WHERE name = 'provider_datastore';") ==
            std::vector<std::string>{"0"}) {
            return {};
        }
        return db.rows(
            "SELECT Provider || ' ' || (Unique_timestamp % 1000) FROM provider_datastore "
            "ORDER BY rowid;");
    }

    vexa::test::ScopedLogLevel log_level_{4};
    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("live.db");
    std::string const other_ = dir_.file("other.db");
    std::vector<std::string> const other_rows_{"other 1", "other 2"};
};

TEST_F(MovedFile, AnInsertAfterTheFileWasReplacedFailsNamingThePath) {
    replace_by_other();
    StderrCapture err;

    EXPECT_EQ(insert_run("rw", provider_run("late", "h", 4)), kFailed);
    EXPECT_EQ(insert_run("rw", provider_run("late", "h", 5)), kFailed);

    EXPECT_EQ(err.text(), moved_line() + moved_line());
    EXPECT_EQ(rows_at_path(), other_rows_);
}

TEST_F(MovedFile, AnInsertAfterTheFileWasDeletedFailsAndLeavesNoLogBehind) {
    remove_file();
    StderrCapture err;

    EXPECT_EQ(insert_run("rw", provider_run("late", "h", 4)), kFailed);

    EXPECT_EQ(err.text(), moved_line());
    EXPECT_FALSE(vexa::test::exists(file_));
    // A new file at the path starts empty: the old log is not replayed into it.
    EXPECT_EQ(rows_at_path(), std::vector<std::string>{});
}

TEST_F(MovedFile, ABatchInsertAfterTheFileWasReplacedLosesTheBatch) {
    ASSERT_EQ(control("rw", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_TRUE(insert_all("rw", "batched", 4, 6));
    replace_by_other();
    StderrCapture err;

    EXPECT_EQ(insert_run("rw", provider_run("batched", "h", 7)), kFailed);
    EXPECT_EQ(control("rw", OP_COMMIT_BATCH, nullptr, nullptr), kFailed);

    EXPECT_EQ(err.text(), moved_line() + "Datastore \"rw\": batch rolled back: an insert failed: " +
                              moved_line().substr(("sqlite3 " + file_ + ": ").size()));
    EXPECT_EQ(rows_at_path(), other_rows_);
}

TEST_F(MovedFile, ABatchCommitAfterTheFileWasReplacedFails) {
    ASSERT_EQ(control("rw", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_TRUE(insert_all("rw", "batched", 4, 6));
    replace_by_other();
    StderrCapture err;

    EXPECT_EQ(control("rw", OP_COMMIT_BATCH, nullptr, nullptr), kFailed);

    EXPECT_EQ(err.text(), rolled_back_line());
    EXPECT_EQ(rows_at_path(), other_rows_);
}

TEST_F(MovedFile, ABatchCommitAfterTheFileWasDeletedFails) {
    ASSERT_EQ(control("rw", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_TRUE(insert_all("rw", "batched", 4, 6));
    remove_file();
    StderrCapture err;

    EXPECT_EQ(control("rw", OP_COMMIT_BATCH, nullptr, nullptr), kFailed);

    EXPECT_EQ(err.text(), rolled_back_line());
    EXPECT_EQ(rows_at_path(), std::vector<std::string>{});
}

}  // namespace
