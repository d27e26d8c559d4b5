// What a user sees when an ODBC data source cannot be reached: the
// library's " open failed" with the driver's reason on the log, and an open
// instance that outlives a restart of its server.
#include <sql.h>
#include <sqlext.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>
#include <util/str.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::Row;
using vexa::test::open_odbc;
using vexa::test::provider_run;
using vexa::test::StderrCapture;

// The first diagnostic record of connecting with `connection` straight
// through the driver manager, as "[SQLSTATE] (native code) text": the
// driver manager's own words, which the plug-in must log unchanged.
std::string driver_manager_reason(std::string connection) {
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
    SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
    std::string reason = "connected";
    if (!SQL_SUCCEEDED(SQLDriverConnect(dbc, nullptr, reinterpret_cast<SQLCHAR*>(connection.data()),
                                        SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT))) {
        SQLCHAR state[6] = {};
        SQLINTEGER native = 0;
        SQLCHAR text[1024] = {};
        SQLSMALLINT length = 0;
        SQLGetDiagRec(SQL_HANDLE_DBC, dbc, 1, state, &native, text, sizeof text, &length);
        reason = "[" + std::string(reinterpret_cast<char*>(state)) + "] (" +
                 std::to_string(native) + ") " + reinterpret_cast<char*>(text);
    } else {
        SQLDisconnect(dbc);
    }
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
    return reason;
}

class OdbcFailures : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    // The exception text of opening `source` as "bad", and the log it wrote.
    void open_bad(std::string const& source) {
        vexa::test::ScopedLogLevel const level(4);
        StderrCapture capture;
        thrown_ = vexa::test::thrown_text([&] { open_odbc("bad", source); });
        log_ = capture.text();
    }

    std::string thrown_;
    std::string log_;
};

TEST_F(OdbcFailures, AnUnknownDataSourceNameFailsTheOpenWithTheDriverManagersReason) {
    open_bad("no_such_dsn");
    EXPECT_EQ(thrown_, vexa::test::odbc_open_failed_text("bad"));
    std::string const reason = driver_manager_reason("DSN=no_such_dsn");
    EXPECT_EQ(reason.rfind("[IM002] (0) [unixODBC][Driver Manager]Data source name not found", 0),
              0u)
        << reason;
    EXPECT_EQ(log_, "odbc dsn=no_such_dsn: SQLDriverConnect: " + reason + "\n");
}

TEST_F(OdbcFailures, AWrongPasswordFailsTheOpenWithTheServersReason) {
    open_bad("DSN=vexa_pg;Username=vexa_secret;Password=wrong");
    EXPECT_EQ(thrown_, vexa::test::odbc_open_failed_text("bad"));
    EXPECT_NE(log_.find("odbc connection=DSN=vexa_pg;Username=vexa_secret;Password=***: "
                        "SQLDriverConnect: [08001]"),
              std::string::npos)
        << log_;
    EXPECT_NE(log_.find("password authentication failed for user \"vexa_secret\""),
              std::string::npos)
        << log_;
    EXPECT_EQ(log_.find("wrong"), std::string::npos) << "the password was logged: " << log_;
}

TEST_F(OdbcFailures, TheRightPasswordOpens) {
    open_odbc("good", "DSN=vexa_pg;Username=vexa_secret;Password=right|read_only=true");
    EXPECT_TRUE(vexa::test::extension_of("good")->is_ready());
}

TEST_F(OdbcFailures, AServerThatIsDownFailsTheOpenWithTheReason) {
    vexa::test::OwnPgServer server;
    server.halt();
    open_bad(server.source());
    EXPECT_EQ(thrown_, vexa::test::odbc_open_failed_text("bad"));
    EXPECT_NE(log_.find("SQLDriverConnect: [08001]"), std::string::npos) << log_;
    EXPECT_NE(log_.find("Connection refused"), std::string::npos) << log_;
}

TEST_F(OdbcFailures, TheReasonOfAFailedOpenIsTheDriversTextWithoutATrailingBlankLine) {
    vexa::test::OwnPgServer server;
    server.halt();
    std::string const port = vexa::test::read_file(server.state_dir() + "/port");
    open_bad(server.source());
    // The driver's text ends in a newline of its own and has one inside.
    EXPECT_EQ(log_, "odbc connection=" + server.source() +
                        ": SQLDriverConnect: [08001] (101) connection to server at \"127.0.0.1\", "
                        "port " +
                        vexa::str::stripws(port) +
                        " failed: Connection refused Is the server running on that host and "
                        "accepting TCP/IP connections?\n");
}

TEST_F(OdbcFailures, MalformedSourceParametersFailTheOpen) {
    open_bad("vexa_pg|readonly=true");
    EXPECT_EQ(thrown_, vexa::test::odbc_open_failed_text("bad"));
    EXPECT_EQ(log_, "odbc: malformed source parameters \"vexa_pg|readonly=true\"\n");
}

TEST_F(OdbcFailures, ReadOnlyTakesTrueOrFalseOnly) {
    std::string const db = vexa::test::fresh_database();
    for (std::string const value : {"TRUE", "True", "yes", ""}) {
        open_bad(vexa::test::pg_source(db) + "|read_only=" + value);
        EXPECT_EQ(thrown_, vexa::test::odbc_open_failed_text("bad"));
        EXPECT_EQ(log_, "odbc: read_only must be false or true, not \"" + value + "\"\n");
    }
    EXPECT_EQ(vexa::test::psql(db, "SELECT count(*) FROM pg_class WHERE relname = 'vexa_1';"),
              "0\n");
    open_odbc("writable", vexa::test::pg_source(db) + "|read_only=false");
    open_odbc("read-only", vexa::test::pg_source(db) + "|read_only=true");
    EXPECT_EQ(vexa::test::extension_of("writable")
                  ->describe()
                  .substr(vexa::test::extension_of("writable")->describe().size() - 13),
              " (read-write)");
    EXPECT_EQ(vexa::test::extension_of("read-only")
                  ->describe()
                  .substr(vexa::test::extension_of("read-only")->describe().size() - 12),
              " (read-only)");
}

TEST_F(OdbcFailures, AnInstanceAnswersAgainAfterItsServerRestarts) {
    vexa::test::OwnPgServer server;
    open_odbc("restarting", server.source());
    vexa::test::TempDir dir;
    vexa::test::open_sqlite("local", vexa::test::sqlite_params(dir.file("local.db"), false));
    ASSERT_EQ(vexa::test::insert_run("restarting", provider_run("p", "remote", 1)), 0);
    ASSERT_EQ(vexa::test::insert_run("local", provider_run("p", "local", 2)), 0);

    std::vector<Row> rows;
    ASSERT_TRUE(vexa::datastore::select_provider_data({"p"}, rows, ""));
    EXPECT_EQ(rows.size(), 2u);

    server.halt();
    {
        vexa::test::ScopedLogLevel const level(7);
        StderrCapture capture;
        EXPECT_TRUE(vexa::datastore::select_provider_data({"p"}, rows, ""));
        std::string const log = capture.text();
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].Hostname, "local");
        // The server ends its sessions as it stops (57P01).
        EXPECT_NE(log.find(": connection lost: SQLExecDirect: [57P01]"), std::string::npos) << log;
    }

    server.resume();
    EXPECT_TRUE(vexa::datastore::select_provider_data({"p"}, rows, ""));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].Hostname, "remote");
    EXPECT_EQ(rows[0].datastore_source, "restarting");
    EXPECT_EQ(vexa::test::insert_run("restarting", provider_run("p", "remote", 3)), 0);
}

// The server ends the session while the plug-in is part way through the
// rows of a read, between two fetches: that read fails, saying why, and the
// next one connects again.
TEST_F(OdbcFailures, AConnectionEndedInTheMiddleOfAReadFailsThatReadOnly) {
    std::string const db = vexa::test::fresh_database();
    open_odbc("pg", vexa::test::pg_source(db));
    ASSERT_EQ(vexa::test::insert_run("pg", provider_run("p", "h", 1)), 0);
    // 20,000 rows that the server computes as they are fetched, pausing at
    // the 15,000th until the session is ended.
    std::string const query =
        "SELECT v.*, CASE WHEN g = 15000 THEN pg_sleep(60) END AS pause "
        "FROM vexa_1 v CROSS JOIN generate_series(1, 20000) g";
    std::thread ender([&db] {
        for (int attempt = 0; attempt < 600; ++attempt) {
            if (vexa::test::psql(db,
                                 "SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
                                 "WHERE wait_event = 'PgSleep' AND datname = '" +
                                     db + "';") == "t\n") {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    std::vector<Row> rows;
    int result = 0;
    std::string log;
    {
        vexa::test::ScopedLogLevel const level(4);
        StderrCapture capture;
        result = vexa::test::select_query("pg", query, rows);
        log = capture.text();
    }
    ender.join();
    EXPECT_EQ(result, 1);
    EXPECT_NE(log.find(": connection lost: SQLFetch: ["), std::string::npos) << log;
    rows.clear();
    ASSERT_EQ(vexa::test::select_query("pg", "SELECT * FROM vexa_1", rows), 0);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Provider, "p");
}

}  // namespace
