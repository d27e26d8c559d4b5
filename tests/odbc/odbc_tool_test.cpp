// vexa-datastore against PostgreSQL, configured as a user configures it: a
// group document naming the ODBC plug-in and a configuration file naming
// the data source.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "odbc_test_support.h"
#include "program.h"
#include "test_support.h"

namespace {

using vexa::test::run;

class OdbcTool : public ::testing::Test {
  protected:
    void SetUp() override {
        vexa::test::write_file(dir_.file("datastores.xml"),
                               "<datastores>\n"
                               "  <group path=\"datastore/quarn64\">\n"
                               "    <entry config_file=\"central.xml\" config_path=\"" +
                                   dir_.path() +
                                   "\">libodbc.so</entry>\n"
                                   "  </group>\n"
                                   "</datastores>\n");
        vexa::test::write_file(dir_.file("central.xml"),
                               "<configuration instance_name=\"central\" type=\"odbc\" "
                               "source_types=\"data\" source_parameters=\"vexa_tool\"/>\n");
    }

    std::string tool(std::vector<std::string> const& arguments) {
        std::vector<std::string> command{VEXA_TOOL, "--config", dir_.file("datastores.xml")};
        command.insert(command.end(), arguments.begin(), arguments.end());
        // The developer's own configuration never reaches the tool.
        return run(command, {{"VEXA_DATASTORE_CONFIG", ""}});
    }

    vexa::test::TempDir dir_;
};

TEST_F(OdbcTool, StoresAndReadsProviderResultsOnPostgresqlThroughADsn) {
    vexa::test::write_file(
        dir_.file("runs.jsonl"),
        "{\"Provider\":\"cpu\",\"Hostname\":\"n1\",\"Exit_status\":0,\"Timestamp\":1700000000,"
        "\"Unique_timestamp\":1700000000000001,\"STDOUT\":\"ok\"}\n"
        "{\"Provider\":\"cpu\",\"Hostname\":\"n1\",\"Exit_status\":1,\"Timestamp\":1700000060,"
        "\"Unique_timestamp\":1700000060000001,\"STDOUT\":\"hot\"}\n"
        "{\"Provider\":\"cpu\",\"Hostname\":\"n2\",\"Exit_status\":0,\"Timestamp\":1700000000,"
        "\"Unique_timestamp\":1700000000000002,\"STDOUT\":\"ok\"}\n");
    tool({"insert", dir_.file("runs.jsonl")});

    std::string const datastores = tool({"--format", "csv", "datastores"});
    EXPECT_NE(datastores.find("central"), std::string::npos) << datastores;
    EXPECT_NE(datastores.find("odbc PostgreSQL 15."), std::string::npos) << datastores;

    std::string const latest = tool({"--format", "jsonl", "latest", "-p", "cpu"});
    EXPECT_NE(latest.find("\"Hostname\":\"n1\""), std::string::npos) << latest;
    EXPECT_NE(latest.find("\"STDOUT\":\"hot\""), std::string::npos) << latest;
    EXPECT_EQ(latest.find("\"Unique_timestamp\":1700000000000001"), std::string::npos) << latest;
    EXPECT_NE(latest.find("\"Unique_timestamp\":1700000000000002"), std::string::npos) << latest;

    EXPECT_EQ(vexa::test::psql("vexa_tool", "SELECT count(*) FROM provider_datastore;"), "3\n");
}

// A group document of two datastores, each in a configuration file of its
// own: (instance name, plug-in file, type, source parameters).
struct Instance {
    std::string name;
    std::string plugin;
    std::string type;
    std::string source;
};

std::string write_group(vexa::test::TempDir const& dir, std::vector<Instance> const& instances) {
    std::string entries;
    for (auto const& instance : instances) {
        vexa::test::write_file(dir.file(instance.name + ".xml"),
                               "<configuration instance_name=\"" + instance.name + "\" type=\"" +
                                   instance.type + "\" source_types=\"data\" source_parameters=\"" +
                                   instance.source + "\"/>\n");
        entries += "    <entry config_file=\"" + instance.name + ".xml\" config_path=\"" +
                   dir.path() + "\">" + instance.plugin + "</entry>\n";
    }
    std::string const group = dir.file("group.xml");
    vexa::test::write_file(group, "<datastores>\n  <group path=\"datastore/quarn64\">\n" + entries +
                                      "  </group>\n</datastores>\n");
    return group;
}

vexa::test::ProgramOutcome run_tool(std::vector<std::string> arguments,
                                    std::map<std::string, std::string> environment = {}) {
    arguments.insert(arguments.begin(), VEXA_TOOL);
    environment["VEXA_DATASTORE_CONFIG"] = "";
    return vexa::test::run_program({arguments, environment});
}

// SQLite holds one result; PostgreSQL holds another, but the login of the
// datastore "pg" may not read the view.
class OdbcToolWithAFailingDatastore : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string const database = vexa::test::fresh_database();
        std::string const writer =
            write_group(dir_, {{"pg", "libodbc.so", "odbc", vexa::test::pg_source(database)}});
        vexa::test::write_file(dir_.file("pg.jsonl"),
                               "{\"Provider\":\"cpu\",\"Hostname\":\"pg-node\","
                               "\"Timestamp\":1700000000,\"Unique_timestamp\":1700000000000001}\n");
        run({VEXA_TOOL, "--config", writer, "insert", dir_.file("pg.jsonl")},
            {{"VEXA_DATASTORE_CONFIG", ""}});
        // Roles belong to the whole server, so an earlier test may have made it.
        vexa::test::psql(database,
                         "DO $$BEGIN CREATE ROLE vexa_no_view LOGIN; "
                         "EXCEPTION WHEN duplicate_object THEN NULL; END$$;"
                         "GRANT SELECT ON provider_datastore TO vexa_no_view;");
        std::string const sqlite_file = dir_.file("local.db");
        write_group(dir_, {{"local", "libsqlite.so", "sqlite3", "source=" + sqlite_file}});
        vexa::test::write_file(dir_.file("local.jsonl"),
                               "{\"Provider\":\"cpu\",\"Hostname\":\"local-node\","
                               "\"Timestamp\":1700000000,\"Unique_timestamp\":1700000000000002}\n");
        run({VEXA_TOOL, "--config", dir_.file("group.xml"), "insert", dir_.file("local.jsonl")},
            {{"VEXA_DATASTORE_CONFIG", ""}});
        config_ = write_group(
            dir_, {{"local", "libsqlite.so", "sqlite3", "source=" + sqlite_file},
                   {"pg", "libodbc.so", "odbc",
                    vexa::test::pg_source(database) + ";Username=vexa_no_view|read_only=true"}});
    }

    vexa::test::TempDir dir_;
    std::string config_;
};

// Whether `jsonl` holds the SQLite result and not the PostgreSQL one.
void expect_only_the_local_row(std::string const& jsonl) {
    EXPECT_NE(jsonl.find("\"Hostname\":\"local-node\""), std::string::npos) << jsonl;
    EXPECT_NE(jsonl.find("\"datastore_source\":\"local\""), std::string::npos) << jsonl;
    EXPECT_EQ(jsonl.find("pg-node"), std::string::npos) << jsonl;
}

// PostgreSQL's refusal as the driver words it; the tool reads the list of
// providers first.
constexpr char kPgFailure[] =
    "datastore \"pg\" failed to run the list of providers: SQLExecDirect: [42501] (1) ERROR: "
    "permission denied for view vexa_1; Error while executing the query";

TEST_F(OdbcToolWithAFailingDatastore, LatestPrintsTheOtherRowsAndNamesThePostgresqlReason) {
    auto const outcome = run_tool({"--config", config_, "--format", "jsonl", "latest"});
    EXPECT_EQ(outcome.status, 1);
    expect_only_the_local_row(outcome.out);
    EXPECT_EQ(outcome.err, std::string("vexa-datastore: ") + kPgFailure + "\n");
}

TEST_F(OdbcToolWithAFailingDatastore, SelectAsJsonLinesPrintsTheOtherRowsAndNamesTheReason) {
    auto const outcome =
        run_tool({"--config", config_, "--format", "jsonl", "select", "-p", "cpu"});
    EXPECT_EQ(outcome.status, 1);
    expect_only_the_local_row(outcome.out);
    EXPECT_EQ(outcome.err, std::string("vexa-datastore: ") + kPgFailure + "\n");
}

TEST_F(OdbcToolWithAFailingDatastore, CheckIsUnknownNamingTheDatastoreAndItsReason) {
    auto const outcome = run_tool({"--config", config_, "check"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, std::string("VEXA UNKNOWN - ") + kPgFailure + "\n");
    EXPECT_EQ(outcome.err, "");
}

// A server that accepts every connection and never says a word.
class SilentServer {
  public:
    SilentServer() {
        listener_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            listen(listener_, 8) != 0 ||
            getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            throw std::runtime_error("cannot listen on the loopback interface");
        }
        port_ = ntohs(address.sin_port);
        acceptor_ = std::thread([this] {
            while (!stopping_) {
                int const connection = accept(listener_, nullptr, nullptr);
                if (connection >= 0) {
                    accepted_.push_back(connection);  // held open, never answered
                }
            }
        });
    }
    ~SilentServer() {
        stopping_ = true;
        shutdown(listener_, SHUT_RDWR);
        acceptor_.join();
        for (int connection : accepted_) {
            close(connection);
        }
        close(listener_);
    }
    SilentServer(SilentServer const&) = delete;
    SilentServer& operator=(SilentServer const&) = delete;

    int port() const { return port_; }

  private:
    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    std::vector<int> accepted_;
    std::thread acceptor_;
};

TEST(OdbcToolTimeLimit, CheckAgainstAServerThatNeverAnswersIsUnknownWithinASecondOfTheLimit) {
    SilentServer const server;
    vexa::test::TempDir dir;
    // A data source of the test's own, in its own ini files.
    vexa::test::write_file(dir.file("odbcinst.ini"),
                           "[PostgreSQL]\nDriver = /usr/lib/x86_64-linux-gnu/odbc/psqlodbcw.so\n");
    vexa::test::write_file(dir.file("odbc.ini"),
                           "[silent_dsn]\nDriver = PostgreSQL\nServername = 127.0.0.1\nPort = " +
                               std::to_string(server.port()) +
                               "\nUsername = postgres\nDatabase = postgres\n");
    std::string const config = write_group(dir, {{"silent", "libodbc.so", "odbc", "silent_dsn"}});

    auto const started = std::chrono::steady_clock::now();
    auto const outcome = run_tool({"--config", config, "check", "-t", "2"},
                                  {{"ODBCSYSINI", dir.path()}, {"ODBCINI", dir.file("odbc.ini")}});
    auto const elapsed = std::chrono::steady_clock::now() - started;

    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out,
              "VEXA UNKNOWN - no answer within 2 s while opening datastore \"silent\"\n");
    EXPECT_GE(elapsed, std::chrono::seconds(2));
    EXPECT_LT(elapsed, std::chrono::seconds(3));
}

}  // namespace
