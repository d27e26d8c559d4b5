// The ODBC plug-in through pgbouncer in transaction pooling mode (the
// fixture's pooler, data source vexa_pooled): a server connection belongs to
// a client for one transaction only, so nothing may rely on the next
// statement meeting the same one.
#include <string>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"

namespace {

using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::provider_run;

constexpr int kOk = 0;

class OdbcPooler : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }
};

TEST_F(OdbcPooler, InsertsOutsideABatchSurviveMovingToAnotherServerConnection) {
    std::string const db = vexa::test::fresh_database();
    std::string const pooled = "DSN=vexa_pooled;Database=" + db;
    vexa::test::open_odbc("node", pooled);
    ASSERT_EQ(insert_run("node", provider_run("p", "n1", 1)), kOk);
    // Another client takes the server connection "node" used last, and keeps
    // it in a transaction, so the next insert of "node" gets another one.
    vexa::test::open_odbc("holder", pooled);
    ASSERT_EQ(control("holder", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_EQ(insert_run("holder", provider_run("p", "n2", 2)), kOk);
    EXPECT_EQ(insert_run("node", provider_run("p", "n1", 3)), kOk);
    EXPECT_EQ(insert_run("node", provider_run("p", "n1", 4)), kOk);
    ASSERT_EQ(control("holder", OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    EXPECT_EQ(vexa::test::psql(db,
                               "SELECT Hostname, count(*) FROM provider_datastore "
                               "GROUP BY Hostname ORDER BY Hostname;"),
              "n1|3\nn2|1\n");
}

TEST_F(OdbcPooler, AReadOnlyInstanceLeavesNoSettingOnAPooledServerConnection) {
    std::string const db = vexa::test::fresh_database();
    std::string const pooled = "DSN=vexa_pooled;Database=" + db;
    vexa::test::open_odbc("writer", pooled);
    ASSERT_EQ(insert_run("writer", provider_run("p", "n1", 1)), kOk);
    // The reader's session, if it had one, would be the writer's next.
    vexa::test::open_odbc("reader", pooled + "|read_only=true");
    std::vector<vexa::datastore::Row> rows;
    ASSERT_EQ(vexa::test::select_query("reader", "SELECT * FROM vexa_1", rows), kOk);
    EXPECT_EQ(rows.size(), 1u);
    EXPECT_EQ(insert_run("writer", provider_run("p", "n1", 2)), kOk);
    EXPECT_EQ(vexa::test::psql(db, "SELECT count(*) FROM provider_datastore;"), "2\n");
}

}  // namespace
