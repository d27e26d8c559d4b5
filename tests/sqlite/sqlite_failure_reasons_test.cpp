// A failed statement of the SQLite plug-in logs SQLite's own reason at level
// 4, as "sqlite3 PATH: reason", so that callers and the tool can show why an
// operation failed: a full disk, a database locked by another process, a
// damaged page, a node name that could not be read back.
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <string>
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
using vexa::test::StderrCapture;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

class SqliteFailureReasons : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    // A datastore file holding one row, closed again.
    std::string store_with_a_row() {
        std::string const file = dir_.file("store.db");
        open_sqlite("setup", sqlite_params(file, false));
        EXPECT_EQ(insert_run("setup", provider_run("p", "h", 1)), kOk);
        vexa::datastore::DataStoreParseUtility::clear_db_vector();
        return file;
    }

    vexa::test::ScopedLogLevel log_level_{4};
    vexa::test::TempDir dir_;
};

TEST_F(SqliteFailureReasons, AFullDiskIsNamed) {
    // A file that had a table before the plug-in first opened it keeps its
    // vacuum mode, so reopening it writes nothing; nor does analysing a
    // table, done here while the disk still has room.
    std::string const file = dir_.file("store.db");
    PlainConnection(file, false).execute("CREATE TABLE older(a);");
    EXPECT_EQ(store_with_a_row(), file);
    PlainConnection(file, false).execute("ANALYZE;");
    // The log becomes a device like /dev/full: every write to it fails as on
    // a full disk.
    unlink((file + "-wal").c_str());
    if (mknod((file + "-wal").c_str(), S_IFCHR | 0644, makedev(1, 7)) != 0) {
        GTEST_SKIP() << "making a device file needs root";
    }
    open_sqlite("full", sqlite_params(file, false));

    StderrCapture captured;
    EXPECT_EQ(insert_run("full", provider_run("p", "h", 2)), kFailed);
    EXPECT_EQ(captured.text(), "sqlite3 " + file + ": database or disk is full\n");
}

TEST_F(SqliteFailureReasons, ALockedDatabaseIsNamedOnceTheWaitIsOver) {
    std::string const file = store_with_a_row();
    open_sqlite("locked", sqlite_params(file, false));
    PlainConnection other(file, false);
    other.execute("BEGIN EXCLUSIVE;");

    StderrCapture captured;
    EXPECT_EQ(insert_run("locked", provider_run("p", "h", 2)), kFailed);
    EXPECT_EQ(captured.text(), "sqlite3 " + file + ": database is locked\n");
    other.execute("ROLLBACK;");
}

TEST_F(SqliteFailureReasons, ADamagedPageIsNamed) {
    std::string const file = store_with_a_row();
    std::string root_page;
    {
        PlainConnection db(file, false);
        db.execute("PRAGMA wal_checkpoint(TRUNCATE);");
        root_page =
            db.rows("SELECT rootpage FROM sqlite_master WHERE name = 'provider_datastore';").at(0);
    }
    std::string bytes = vexa::test::read_file(file);
    std::size_t const page_size = 4096;
    std::size_t const page = std::stoul(root_page) - 1;
    ASSERT_GE(bytes.size(), (page + 1) * page_size);
    bytes.replace(page * page_size, page_size, std::string(page_size, '\x7f'));
    vexa::test::write_file(file, bytes);
    open_sqlite("damaged", sqlite_params(file, true));

    StderrCapture captured;
    std::vector<Row> rows;
    EXPECT_EQ(select_query("damaged", "SELECT * FROM vexa_1;", rows), kFailed);
    EXPECT_EQ(captured.text(), "sqlite3 " + file + ": database disk image is malformed\n");
}

TEST_F(SqliteFailureReasons, ANodeNameHoldingACommaIsRefusedAndNothingIsStored) {
    std::string const file = dir_.file("store.db");
    open_sqlite("commas", sqlite_params(file, false));
    auto run = provider_run("p", "h", 1);
    run.header.node_names = {"n1", "n2,n3"};

    StderrCapture captured;
    EXPECT_EQ(insert_run("commas", run), kFailed);
    EXPECT_EQ(captured.text(), "sqlite3 " + file +
                                   ": node name \"n2,n3\" holds a comma, which separates the "
                                   "stored node names\n");
    PlainConnection db(file);
    EXPECT_EQ(db.rows("SELECT COUNT(*) FROM provider_datastore;"), (std::vector<std::string>{"0"}));
}

}  // namespace
