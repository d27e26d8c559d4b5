// vexa-datastore against PostgreSQL, configured as a user configures it: a
// group document naming the ODBC plug-in and a configuration file naming
// the data source.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "odbc_test_support.h"
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

}  // namespace
