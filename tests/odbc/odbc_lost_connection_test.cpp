// A PostgreSQL session ended by the server in the middle of a large read
// (the rows stream through a cursor): the read fails with the server's
// reason, the process lives on, and the instance answers again.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::Row;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;
// Enough rows that the read takes many fetches of the driver's cursor.
constexpr int kRows = 300000;

class OdbcLostConnection : public ::testing::Test {
  protected:
    void SetUp() override {
        database_ = vexa::test::fresh_database();
        vexa::test::open_odbc("big", vexa::test::pg_source(database_));
        vexa::test::psql(database_,
                         "INSERT INTO provider_datastore (Provider, Hostname, Exit_status, "
                         "Timestamp, Unique_timestamp, stdout, OptionID) SELECT 'p', 'host' || g, "
                         "0, g, g, repeat('x', 200), 'opt' FROM generate_series(1, " +
                             std::to_string(kRows) + ") g;");
    }
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    // Ends the instance's session as soon as it is fetching from its cursor;
    // true when it did.
    bool terminate_while_fetching(std::atomic<bool> const& reading) {
        std::string const kill =
            "SELECT count(pg_terminate_backend(pid)) FROM pg_stat_activity WHERE datname = '" +
            database_ + "' AND query ILIKE 'fetch%';";
        while (reading) {
            if (vexa::test::psql("postgres", kill) == "1\n") {
                return true;
            }
        }
        return false;
    }

    std::string database_;
};

TEST_F(OdbcLostConnection, ASessionEndedMidReadFailsTheReadAndTheInstanceAnswersAgain) {
    for (int attempt = 1; attempt <= 4; ++attempt) {
        SCOPED_TRACE("attempt " + std::to_string(attempt));
        std::atomic<bool> reading{true};
        bool terminated = false;
        std::thread killer([&] { terminated = terminate_while_fetching(reading); });
        std::vector<Row> rows;
        int result = kOk;
        std::string log;
        {
            vexa::test::ScopedLogLevel const level(4);
            vexa::test::StderrCapture capture;
            result = vexa::test::select_query("big", "SELECT * FROM vexa_1", rows);
            log = capture.text();
        }
        reading = false;
        killer.join();
        ASSERT_TRUE(terminated) << "the read ended before the session could be ended";
        EXPECT_EQ(result, kFailed);
        // The server's words depend on whether its goodbye arrived before
        // the socket closed.
        EXPECT_NE(log.find(": connection lost: SQLFetch: ["), std::string::npos) << log;
        EXPECT_TRUE(log.find("FATAL: terminating connection due to administrator command") !=
                        std::string::npos ||
                    log.find("server closed the connection unexpectedly") != std::string::npos)
            << log;

        rows.clear();
        ASSERT_EQ(
            vexa::test::select_query("big", "SELECT * FROM vexa_1 WHERE Hostname = 'host7'", rows),
            kOk);
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].Unique_timestamp, 7);
    }
}

}  // namespace
