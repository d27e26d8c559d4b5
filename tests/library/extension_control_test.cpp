#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "recording_extension.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::InsertRequest;
using vexa::datastore::OP_GET_LATEST_ROWS;
using vexa::datastore::OP_INSERT;
using vexa::datastore::OP_SELECT;
using vexa::datastore::OP_SELECT_HOSTS;
using vexa::datastore::ReadParameters;
using vexa::datastore::Row;
using vexa::datastore::SQLParameters;
using vexa::test::RecordingExtension;
using vexa::test::row_of;

// An address in the never-mapped first page: any read through it crashes,
// so a call that gets past it shows the pointer was left alone.
void* const kUnreadable = reinterpret_cast<void*>(std::uintptr_t{0x10});

// Only the pure operations: insert() and select() keep their defaults.
class BareExtension : public vexa::datastore::interface {
  public:
    bool is_ready() override { return true; }
    int open_instance(std::string const& /*source_parameters*/) override { return 0; }
    std::string describe() const override { return "bare extension"; }
};

// Records the arguments insert() receives.
class InsertingExtension : public RecordingExtension {
  public:
    bool insert_result = true;
    std::vector<std::string> insert_arguments;

    bool insert(vexa::provider::header const& header, std::string const& option_id,
                std::string const& stdout_text, std::string const& stderr_text) override {
        insert_arguments = {header.Provider, option_id, stdout_text, stderr_text};
        return insert_result;
    }
};

class ControlTest : public ::testing::Test {
  protected:
    ControlTest() { parameters.sql = &sql; }

    int run(unsigned short opcode) {
        return extension.control(opcode, &parameters, &rows, kUnreadable);
    }

    // Makes select() throw `exception` and returns what OP_SELECT answers.
    template <typename Exception>
    int result_when_select_throws(Exception exception) {
        extension.before_select = [exception] { throw exception; };
        sql.query = "SELECT 1";
        return run(OP_SELECT);
    }

    RecordingExtension extension;
    SQLParameters sql;
    ReadParameters parameters;
    std::vector<Row> rows;
};

TEST(ControlCodes, ResultCodesAreZeroOneAndFiveHundredTwelve) {
    EXPECT_EQ(0, DataStoreExtension::OPERATION_SUCCESSFULL);
    EXPECT_EQ(1, DataStoreExtension::OPERATION_UNSUCCESSFULL);
    EXPECT_EQ(512, DataStoreExtension::UNSUPPORTED_OPERATION);
}

TEST(ControlCodes, OpcodesAreFiveHundredTwelveToFiveHundredFifteen) {
    EXPECT_EQ(512, OP_SELECT_HOSTS);
    EXPECT_EQ(513, OP_GET_LATEST_ROWS);
    EXPECT_EQ(514, OP_SELECT);
    EXPECT_EQ(515, OP_INSERT);
}

TEST_F(ControlTest, UnknownOpcodesAreUnsupportedAndReadNoPointer) {
    for (unsigned short opcode : {0, 511, 516, 0xFFFF}) {
        EXPECT_EQ(512, extension.control(opcode, kUnreadable, kUnreadable, kUnreadable))
            << "opcode " << opcode;
    }
    EXPECT_TRUE(extension.queries.empty());
    EXPECT_EQ(0, extension.readiness_checks);
}

TEST_F(ControlTest, SelectHostsRunsTheHostsQueryWithTheRequestFieldMap) {
    extension.set_hosts_query("SELECT * FROM hosts_of_uname");
    sql.fields = {{"Hostname", 2}};
    parameters.providers = {"uname"};
    extension.canned_rows = {row_of("uname"), row_of("uname")};

    EXPECT_EQ(0, run(OP_SELECT_HOSTS));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ("SELECT * FROM hosts_of_uname", extension.queries[0]);
    EXPECT_EQ((std::map<std::string, int>{{"Hostname", 2}}), extension.field_maps[0]);
    EXPECT_EQ(2u, rows.size());
}

TEST_F(ControlTest, FalseFromSelectGivesOneAndKeepsTheRowsAlreadyAppended) {
    extension.set_hosts_query("SELECT 1");
    extension.canned_rows = {row_of("partial")};
    extension.select_result = false;

    EXPECT_EQ(1, run(OP_SELECT_HOSTS));
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ("partial", rows[0].Provider);
}

TEST_F(ControlTest, GetLatestRowsPassesTheProviderAndHostLists) {
    parameters.providers = {"p1"};
    parameters.hostnames = {"n1", "n2"};
    parameters.sql = nullptr;  // not needed by this operation
    extension.canned_rows = {row_of("p1")};

    EXPECT_EQ(0, run(OP_GET_LATEST_ROWS));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ(
        "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE (Provider IN ('p1') ) AND  (Hostname "
        "IN ('n1','n2') )GROUP BY OptionID, Hostname, Provider;",
        extension.queries[0]);
    EXPECT_EQ(1u, rows.size());
}

TEST_F(ControlTest, GetLatestRowsOnAnInstanceThatIsNotReadyGivesOne) {
    parameters.providers = {"p1"};
    extension.ready = false;

    EXPECT_EQ(1, run(OP_GET_LATEST_ROWS));
    EXPECT_TRUE(extension.queries.empty());
}

TEST_F(ControlTest, SelectWithoutQueryOrProvidersGivesOneWithoutCallingSelect) {
    EXPECT_EQ(1, run(OP_SELECT));
    EXPECT_TRUE(extension.queries.empty());
}

TEST_F(ControlTest, SelectWithAQueryRunsExactlyThatText) {
    sql.query = "SELECT Hostname FROM vexa_1 WHERE Exit_status != 0";
    sql.filter = "Hostname = 'n1'";
    sql.fields = {{"Hostname", 2}};
    parameters.providers = {"p1", "p2"};

    EXPECT_EQ(0, run(OP_SELECT));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ("SELECT Hostname FROM vexa_1 WHERE Exit_status != 0", extension.queries[0]);
    EXPECT_EQ((std::map<std::string, int>{{"Hostname", 2}}), extension.field_maps[0]);
}

TEST_F(ControlTest, SelectWithoutQuerySelectsTheProvidersUnderTheTrimmedFilter) {
    sql.filter = " \tHostname = 'n1'\n ";
    parameters.providers = {"p1", "p2"};

    EXPECT_EQ(0, run(OP_SELECT));
    ASSERT_EQ(1u, extension.queries.size());
    EXPECT_EQ("SELECT * FROM vexa_1 WHERE (Hostname = 'n1') AND  (Provider IN ('p1','p2') )",
              extension.queries[0]);
}

TEST_F(ControlTest, SelectAppendsToTheRowsTheCallerPassed) {
    rows = {row_of("earlier")};
    parameters.providers = {"p1"};
    extension.canned_rows = {row_of("p1")};

    EXPECT_EQ(0, run(OP_SELECT));
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ("earlier", rows[0].Provider);
    EXPECT_EQ("p1", rows[1].Provider);
}

TEST_F(ControlTest, SelectWithABlankProviderNameGivesOne) {
    parameters.providers = {"p1", "  \t"};

    EXPECT_EQ(1, run(OP_SELECT));
    EXPECT_TRUE(extension.queries.empty());
}

TEST_F(ControlTest, ReadOpcodesWithoutSQLParametersGiveOne) {
    parameters.sql = nullptr;
    parameters.providers = {"p1"};

    EXPECT_EQ(1, run(OP_SELECT_HOSTS));
    EXPECT_EQ(1, run(OP_SELECT));
    EXPECT_TRUE(extension.queries.empty());
}

TEST_F(ControlTest, UnsupportedOperationTextGivesFiveHundredTwelve) {
    EXPECT_EQ(512, result_when_select_throws(std::runtime_error("unsupported operation")));
}

TEST_F(ControlTest, LongerTextBeginningWithUnsupportedOperationGivesFiveHundredTwelve) {
    EXPECT_EQ(512, result_when_select_throws(
                       std::runtime_error("unsupported operation: no free SQL on this backend")));
}

TEST_F(ControlTest, AnyStandardExceptionTypeIsCompared) {
    EXPECT_EQ(512, result_when_select_throws(std::logic_error("unsupported operation")));
}

TEST_F(ControlTest, CapitalisedUnsupportedOperationGivesOne) {
    EXPECT_EQ(1, result_when_select_throws(std::runtime_error("Unsupported operation")));
}

TEST_F(ControlTest, TextShorterThanTheWholeMarkerGivesOne) {
    EXPECT_EQ(1, result_when_select_throws(std::runtime_error("unsupported operatio")));
}

TEST_F(ControlTest, OtherStandardExceptionGivesOne) {
    EXPECT_EQ(1, result_when_select_throws(std::runtime_error("database is locked")));
}

TEST_F(ControlTest, NonStandardExceptionGivesOne) {
    EXPECT_EQ(1, result_when_select_throws(42));
    EXPECT_EQ(1, result_when_select_throws(std::string("unsupported operation")));
}

TEST_F(ControlTest, FailuresAreNotLogged) {
    vexa::test::ScopedLogLevel level(7);
    vexa::test::StderrCapture capture;
    extension.before_select = [] { throw std::runtime_error("database is locked"); };
    parameters.providers = {"p1"};

    EXPECT_EQ(1, run(OP_SELECT));
    EXPECT_EQ(1, run(OP_GET_LATEST_ROWS));
    parameters.providers = {" "};
    EXPECT_EQ(1, run(OP_SELECT));
    EXPECT_EQ(512, run(OP_INSERT + 1));
    EXPECT_EQ("", capture.text());
}

TEST(ControlInsert, PassesHeaderOptionIdStdoutAndStderrInThatOrder) {
    InsertingExtension extension;
    InsertRequest request;
    request.stdout_text = "the output";
    request.stderr_text = "the errors";
    request.header.Provider = "p1";
    request.option_id = "opt-7";

    EXPECT_EQ(0, extension.control(OP_INSERT, kUnreadable, &request, kUnreadable));
    EXPECT_EQ((std::vector<std::string>{"p1", "opt-7", "the output", "the errors"}),
              extension.insert_arguments);
}

TEST(ControlInsert, FalseFromInsertGivesOne) {
    InsertingExtension extension;
    extension.insert_result = false;
    InsertRequest request;

    EXPECT_EQ(1, extension.control(OP_INSERT, kUnreadable, &request, kUnreadable));
}

TEST(ControlInsert, DefaultInsertIsUnsupported) {
    RecordingExtension extension;
    InsertRequest request;

    EXPECT_EQ(512, extension.control(OP_INSERT, kUnreadable, &request, kUnreadable));
}

TEST(DefaultOperations, InsertAndSelectThrowUnsupportedOperation) {
    BareExtension extension;
    std::vector<Row> rows;
    EXPECT_EQ("unsupported operation", vexa::test::runtime_error_of([&] {
                  extension.insert(vexa::provider::header{}, "opt", "out", "err");
              }));
    EXPECT_EQ("unsupported operation", vexa::test::runtime_error_of([&] {
                  extension.select("SELECT 1", rows, vexa::datastore::column_index_map);
              }));
}

TEST(DefaultOperations, ExtensionWithoutSelectAnswersEveryReadOpcodeWithFiveHundredTwelve) {
    BareExtension extension;
    SQLParameters sql;
    ReadParameters parameters;
    parameters.providers = {"p1"};
    parameters.sql = &sql;
    std::vector<Row> rows;

    for (unsigned short opcode : {OP_SELECT_HOSTS, OP_GET_LATEST_ROWS, OP_SELECT}) {
        EXPECT_EQ(512, extension.control(opcode, &parameters, &rows, kUnreadable))
            << "opcode " << opcode;
    }
    sql.query = "SELECT 1";
    EXPECT_EQ(512, extension.control(OP_SELECT, &parameters, &rows, kUnreadable));
}

}  // namespace
