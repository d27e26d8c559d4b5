// Helpers of the ODBC plug-in's suites: the test run's PostgreSQL server
// (started by the CTest fixture; its drivers and data sources are in the
// directory ODBCSYSINI names), fresh databases on it, and records naming
// this build's ODBC plug-in.
#ifndef VEXA_TESTS_ODBC_ODBC_TEST_SUPPORT_H_
#define VEXA_TESTS_ODBC_ODBC_TEST_SUPPORT_H_

#include <map>
#include <string>
#include <vector>

#include <datastore/datastore.h>
#include <gtest/gtest.h>

#include "test_support.h"

namespace vexa::test {

// Runs the program `arguments` with the caller's environment changed by
// `environment` (as run_program does); what it printed on both streams, or
// a std::runtime_error with that text when it fails.
std::string run(std::vector<std::string> const& arguments,
                std::map<std::string, std::string> const& environment = {});

// The directory of the fixture's ini files; fails the test when unset.
std::string odbc_state_dir();
// The loopback port of the fixture's server.
std::string pg_port();
// Runs `sql` with psql on `database` of the server in `state_dir` as
// postgres and returns its unaligned output; throws std::runtime_error with
// psql's text when psql fails.
std::string psql(std::string const& database, std::string const& sql,
                 std::string const& state_dir = odbc_state_dir());
// A new, empty database on the fixture's server, named after the running
// test; returns its name.
std::string fresh_database();
// Source parameters of `database` through the fixture's DSN vexa_pg.
std::string pg_source(std::string const& database);
// Source parameters of an SQLite file through the SQLite ODBC driver.
std::string sqlite_odbc_source(std::string const& file);
// A record of `type` odbc naming this build's plug-in.
datastore::DataStoreConfig odbc_config(std::string const& name,
                                       std::string const& source_parameters);
// Registers one ODBC instance; the controller's exceptions pass through.
void open_odbc(std::string const& name, std::string const& source_parameters);
// The text the controller throws when the plug-in cannot open `name`.
std::string odbc_open_failed_text(std::string const& name);

// `run` as the SQLite ODBC driver stores it: the driver carries floating
// point values as text of 15 significant digits, so Duration loses its
// last bits there (PostgreSQL keeps them all).
datastore::InsertRequest as_sqlite_driver_keeps_it(datastore::InsertRequest run);

// The fixture of suites run on both ODBC back ends: the parameter is true for
// a fresh SQLite file through the SQLite ODBC driver, false for a fresh
// database of the fixture's PostgreSQL server. Clears the registry after
// each test.
class OdbcBackendTest : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override;
    void TearDown() override;

    bool sqlite() const { return GetParam(); }
    // Runs `sql` as another client: the sqlite3 program or psql.
    void other_client(std::string const& sql);

    TempDir dir_;
    std::string file_;      // the SQLite file
    std::string database_;  // the PostgreSQL database
    std::string source_;    // the source parameters that reach either
};

// A PostgreSQL server of a test's own, for stopping and starting it under
// an open instance; removed with its data at destruction.
class OwnPgServer {
  public:
    OwnPgServer();
    ~OwnPgServer();
    OwnPgServer(OwnPgServer const&) = delete;
    OwnPgServer& operator=(OwnPgServer const&) = delete;

    std::string const& state_dir() const { return state_; }
    // A connection string of its database postgres, naming the driver file.
    std::string source() const;
    void halt();
    void resume();

  private:
    std::string state_;
};

}  // namespace vexa::test

#endif  // VEXA_TESTS_ODBC_ODBC_TEST_SUPPORT_H_
