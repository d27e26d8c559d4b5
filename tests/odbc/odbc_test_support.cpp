#include "odbc_test_support.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <gtest/gtest.h>
#include <util/str.h>

#include "program.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace vexa::test {

std::string run(std::vector<std::string> const& arguments,
                std::map<std::string, std::string> const& environment) {
    ProgramRun program{arguments, environment};
    program.error_into_output = true;
    ProgramOutcome const outcome = run_program(program);
    if (outcome.status != 0) {
        std::string command;
        for (auto const& argument : arguments) {
            command += (command.empty() ? "" : " ") + argument;
        }
        throw std::runtime_error(command + " failed: " + outcome.out);
    }
    return outcome.out;
}

namespace {

std::string port_of(std::string const& state_dir) {
    return str::stripws(read_file(state_dir + "/port"));
}

}  // namespace

std::string odbc_state_dir() {
    char const* dir = std::getenv("ODBCSYSINI");
    if (dir == nullptr) {
        ADD_FAILURE() << "ODBCSYSINI is not set: run the suite through ctest";
        return "";
    }
    return dir;
}

std::string pg_port() { return port_of(odbc_state_dir()); }

std::string psql(std::string const& database, std::string const& sql,
                 std::string const& state_dir) {
    TempDir scratch;
    write_file(scratch.file("input.sql"), sql);
    return run({"/usr/lib/postgresql/15/bin/psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1",
                "-h", "127.0.0.1", "-p", port_of(state_dir), "-U", "postgres", "-d", database, "-f",
                scratch.file("input.sql")});
}

std::string fresh_database() {
    static int counter = 0;
    ::testing::TestInfo const* test = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = "t_" + std::to_string(getpid()) + "_" + std::to_string(++counter) + "_" +
                       (test != nullptr ? test->name() : "none");
    name.resize(std::min<std::size_t>(name.size(), 60));
    for (char& c : name) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    psql("postgres", "CREATE DATABASE \"" + name + "\";");
    return name;
}

std::string pg_source(std::string const& database) { return "DSN=vexa_pg;Database=" + database; }

std::string sqlite_odbc_source(std::string const& file) {
    return "DSN=vexa_sqlite;Database=" + file;
}

void OdbcBackendTest::SetUp() {
    if (sqlite()) {
        file_ = dir_.file("store.db");
        source_ = sqlite_odbc_source(file_);
    } else {
        database_ = fresh_database();
        source_ = pg_source(database_);
    }
}

void OdbcBackendTest::TearDown() { datastore::DataStoreParseUtility::clear_db_vector(); }

void OdbcBackendTest::other_client(std::string const& sql) {
    if (sqlite()) {
        std::string output;
        ASSERT_EQ(run_sqlite3_program(file_, sql, output), 0) << output;
    } else {
        psql(database_, sql);
    }
}

datastore::DataStoreConfig odbc_config(std::string const& name,
                                       std::string const& source_parameters) {
    datastore::DataStoreConfig config;
    config.type = datastore::odbc;
    config.instance_name = name;
    config.extension_name = "libodbc.so";
    config.extension_path = str::dirname(VEXA_ODBC_PLUGIN);
    config.source_parameters = source_parameters;
    return config;
}

void open_odbc(std::string const& name, std::string const& source_parameters) {
    std::vector<datastore::DataStoreConfig> configs{odbc_config(name, source_parameters)};
    datastore::DataStoreParseUtility::initializeDatastoreExtensions(configs);
}

std::string odbc_open_failed_text(std::string const& name) {
    return std::string("Extension name/path ") + VEXA_ODBC_PLUGIN + ", instance " + name +
           " open failed";
}

datastore::InsertRequest as_sqlite_driver_keeps_it(datastore::InsertRequest run) {
    char text[32];
    std::snprintf(text, sizeof text, "%.15g", run.header.Duration);
    run.header.Duration = std::strtod(text, nullptr);
    return run;
}

OwnPgServer::OwnPgServer() : state_(str::stripws(run({"mktemp", "-d"}))) {
    run({VEXA_PG_SERVER_SCRIPT, "start", state_});
}

OwnPgServer::~OwnPgServer() {
    try {
        run({VEXA_PG_SERVER_SCRIPT, "stop", state_});
        run({"rm", "-rf", state_});
    } catch (std::exception const& error) {
        ADD_FAILURE() << error.what();
    }
}

std::string OwnPgServer::source() const {
    return "Driver=/usr/lib/x86_64-linux-gnu/odbc/psqlodbcw.so;Servername=127.0.0.1;Port=" +
           port_of(state_) + ";Database=postgres;Username=postgres";
}

void OwnPgServer::halt() { run({VEXA_PG_SERVER_SCRIPT, "halt", state_}); }

void OwnPgServer::resume() { run({VEXA_PG_SERVER_SCRIPT, "resume", state_}); }

}  // namespace vexa::test
