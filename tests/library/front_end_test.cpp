// execute_ioctl and execControl over datastores served by the steered test
// plug-in: stop at the first success, callbacks, merged and stamped rows,
// and the exact level-7 message of every kind of failure.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/datastore.h>

#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::DataStoreParseUtility;
using vexa::datastore::execControl;
using vexa::datastore::execute_ioctl;
using vexa::datastore::OP_SELECT;
using vexa::datastore::ReadParameters;
using vexa::datastore::Row;
using vexa::datastore::SQLParameters;
using vexa::test::register_steered;
using vexa::test::ScopedLogLevel;
using vexa::test::StderrCapture;

struct CallbackCall {
    int result;
    unsigned short opcode;
    DataStoreExtension* datastore;
    void const* out;
    void const* extra;
};

std::vector<CallbackCall> callback_calls;

void record_call(int result, unsigned short opcode, std::weak_ptr<DataStoreExtension> datastore,
                 void const* out, void const* extra) {
    callback_calls.push_back({result, opcode, datastore.lock().get(), out, extra});
}

void record_then_throw(int result, unsigned short opcode,
                       std::weak_ptr<DataStoreExtension> datastore, void const* out,
                       void const* extra) {
    record_call(result, opcode, datastore, out, extra);
    if (callback_calls.size() == 1) {
        throw std::runtime_error("callback failure");
    }
}

// The extension object of the registered instance `name`.
DataStoreExtension* extension_of(std::string const& name) {
    return DataStoreParseUtility::locate_datastores({name}).at(0).second.lock().get();
}

class ExecuteIoctlTest : public vexa::test::RegistryTest {
  protected:
    void SetUp() override { callback_calls.clear(); }

    ReadParameters parameters;
    std::vector<Row> out;
    int extra = 0;
};

TEST_F(ExecuteIoctlTest, StopsAtTheFirstSuccessAfterReportingEachResult) {
    register_steered("io_first", "code=1");
    register_steered("io_second", "code=0");
    register_steered("io_third", "code=1");
    ScopedLogLevel debug(7);
    StderrCapture err;

    int const result = execute_ioctl({"io_first", "io_second", "io_third"}, OP_SELECT, &parameters,
                                     &out, &extra, record_call);

    EXPECT_EQ(err.text(), "Operation code 514 failed for io_first\n");
    EXPECT_EQ(result, 1);
    ASSERT_EQ(callback_calls.size(), 2u);
    EXPECT_EQ(callback_calls[0].result, 1);
    EXPECT_EQ(callback_calls[0].opcode, OP_SELECT);
    EXPECT_EQ(callback_calls[0].datastore, extension_of("io_first"));
    EXPECT_EQ(callback_calls[0].out, &out);
    EXPECT_EQ(callback_calls[0].extra, &extra);
    EXPECT_EQ(callback_calls[1].result, 0);
    EXPECT_EQ(callback_calls[1].datastore, extension_of("io_second"));
}

TEST_F(ExecuteIoctlTest, WithoutCallbackStillStopsAtTheFirstSuccess) {
    register_steered("io_first", "code=1");
    register_steered("io_second", "code=0");
    register_steered("io_third", "code=1");
    ScopedLogLevel debug(7);
    StderrCapture err;

    int const result = execute_ioctl({"io_first", "io_second", "io_third"}, OP_SELECT, &parameters,
                                     &out, nullptr, nullptr);

    EXPECT_EQ(err.text(), "Operation code 514 failed for io_first\n");
    EXPECT_EQ(result, 1);
    EXPECT_TRUE(callback_calls.empty());
}

TEST_F(ExecuteIoctlTest, EveryDatastoreUnsupportedLogsOneLineEachAndReturnsZero) {
    register_steered("io_coded", "code=512");
    // Reaches the base class's select through the real dispatch.
    register_steered("io_no_select", "unsupported=select|row=p/h/1");
    register_steered("io_plain", "row=p/h/1");
    ScopedLogLevel debug(7);
    StderrCapture err;

    // The plain datastore answers an unknown opcode with 512 as well.
    int const unknown =
        execute_ioctl({"io_coded", "io_plain"}, 600, &parameters, &out, nullptr, record_call);
    SQLParameters sql;
    sql.query = "SELECT 1";
    parameters.sql = &sql;
    int const select = execute_ioctl({"io_coded", "io_no_select"}, OP_SELECT, &parameters, &out,
                                     nullptr, record_call);

    EXPECT_EQ(err.text(),
              "Operation code 600 unsupported for io_coded\n"
              "Operation code 600 unsupported for io_plain\n"
              "Operation code 514 unsupported for io_coded\n"
              "Operation code 514 unsupported for io_no_select\n");
    EXPECT_EQ(unknown, 0);
    EXPECT_EQ(select, 0);
    ASSERT_EQ(callback_calls.size(), 4u);
    for (CallbackCall const& call : callback_calls) {
        EXPECT_EQ(call.result, 512);
    }
    EXPECT_TRUE(out.empty());
}

TEST_F(ExecuteIoctlTest, AnotherCodeRunsTheNameAndErrorCodeTogether) {
    register_steered("mystore", "code=7");
    ScopedLogLevel debug(7);
    StderrCapture err;

    int const result = execute_ioctl({"mystore"}, 5, nullptr, nullptr, nullptr, record_call);

    EXPECT_EQ(err.text(), "Operation code 5 failed for mystoreerror code 7\n");
    EXPECT_EQ(result, 0);
    ASSERT_EQ(callback_calls.size(), 1u);
    EXPECT_EQ(callback_calls[0].result, 7);
    EXPECT_EQ(callback_calls[0].opcode, 5);
}

TEST_F(ExecuteIoctlTest, FailureCodeOneNamesTheDatastore) {
    register_steered("io_failing", "code=1");
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_EQ(execute_ioctl({"io_failing"}, 513, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(err.text(), "Operation code 513 failed for io_failing\n");
}

TEST_F(ExecuteIoctlTest, MessagesStayQuietBelowDebugLevel) {
    register_steered("io_failing", "code=1");
    ScopedLogLevel warnings(4);
    StderrCapture err;

    EXPECT_EQ(execute_ioctl({"io_failing"}, 513, nullptr, nullptr, nullptr, record_call), 0);
    EXPECT_EQ(err.text(), "");
    EXPECT_EQ(callback_calls.size(), 1u);
}

TEST_F(ExecuteIoctlTest, ThrowingDatastoresAreLoggedAndSkippedWithoutCallback) {
    register_steered("io_throw_std", "throw=std");
    register_steered("io_throw_int", "throw=other");
    register_steered("io_good", "code=0");
    ScopedLogLevel debug(7);
    StderrCapture err;

    int const result = execute_ioctl({"io_throw_std", "io_throw_int", "io_good"}, OP_SELECT,
                                     &parameters, &out, nullptr, record_call);

    EXPECT_EQ(err.text(),
              "Pulling data failed for  from the database source \"io_throw_std\"\n"
              "Pulling data failed for  from the database source \"io_throw_int\"\n");
    EXPECT_EQ(result, 1);
    ASSERT_EQ(callback_calls.size(), 1u);
    EXPECT_EQ(callback_calls[0].datastore, extension_of("io_good"));
}

TEST_F(ExecuteIoctlTest, ACallbackThatThrowsOnSuccessMovesOnToTheNextDatastore) {
    register_steered("io_first_good", "code=0");
    register_steered("io_second_good", "code=0");
    ScopedLogLevel debug(7);
    StderrCapture err;

    int const result = execute_ioctl({"io_first_good", "io_second_good"}, OP_SELECT, &parameters,
                                     &out, nullptr, record_then_throw);

    EXPECT_EQ(err.text(), "Pulling data failed for  from the database source \"io_first_good\"\n");
    EXPECT_EQ(result, 1);
    ASSERT_EQ(callback_calls.size(), 2u);
    EXPECT_EQ(callback_calls[1].datastore, extension_of("io_second_good"));
}

TEST_F(ExecuteIoctlTest, FollowsTheOrderOfTheNamesAndAsksARepeatedNameTwice) {
    register_steered("io_a", "code=1");
    register_steered("io_b", "code=512");
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_EQ(execute_ioctl({"io_b", "io_a", "io_b"}, 7, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(err.text(),
              "Operation code 7 unsupported for io_b\n"
              "Operation code 7 failed for io_a\n"
              "Operation code 7 unsupported for io_b\n");
}

TEST_F(ExecuteIoctlTest, UnknownNamesAndAnEmptyListAskNobody) {
    register_steered("io_failing", "code=1");
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_EQ(execute_ioctl({"io_nobody"}, OP_SELECT, nullptr, nullptr, nullptr, record_call), 0);
    EXPECT_EQ(execute_ioctl({}, OP_SELECT, nullptr, nullptr, nullptr, record_call), 0);
    EXPECT_EQ(err.text(), "");
    EXPECT_TRUE(callback_calls.empty());
}

TEST_F(ExecuteIoctlTest, AClosedInstanceAnswersAsFailed) {
    register_steered("io_closed", "code=0");
    vexa::datastore::DataStoreController::createDataStoreController().lock()->close({"io_closed"});
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_EQ(execute_ioctl({"io_closed"}, OP_SELECT, nullptr, nullptr, nullptr, record_call), 0);
    EXPECT_EQ(err.text(), "Operation code 514 failed for io_closed\n");
    ASSERT_EQ(callback_calls.size(), 1u);
    EXPECT_EQ(callback_calls[0].datastore, nullptr);
}

TEST_F(ExecuteIoctlTest, EveryDatastoreFillsTheSameOutput) {
    register_steered("io_rows_a", "row=p/h/1|row=p/h/2");
    register_steered("io_rows_b", "row=q/h/3");
    SQLParameters sql;
    sql.query = "SELECT 2";
    parameters.sql = &sql;

    // A datastore answering with rows succeeds, so only the first is asked.
    EXPECT_EQ(
        execute_ioctl({"io_rows_a", "io_rows_b"}, OP_SELECT, &parameters, &out, nullptr, nullptr),
        1);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[1].Unique_timestamp, 2);
    // Rows reach the caller as the extension made them: nothing is stamped.
    EXPECT_EQ(out[0].datastore_source, "");

    EXPECT_EQ(execute_ioctl({"io_rows_b"}, OP_SELECT, &parameters, &out, nullptr, nullptr), 1);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[2].Provider, "q");
}

class ExecControlTest : public vexa::test::RegistryTest {
  protected:
    ExecControlTest() {
        sql.query = "SELECT * FROM vexa_1";
        parameters.sql = &sql;
    }

    SQLParameters sql;
    ReadParameters parameters;
    std::vector<Row> rows;
};

TEST_F(ExecControlTest, MergesRowsInRegistryOrderStampedWithTheirDatastore) {
    register_steered("ec_first", "row=p1/h1/10|row=p2/h2/20");
    register_steered("ec_second", "row=p3/h3/30|row=p4/h4/40");

    EXPECT_TRUE(execControl(OP_SELECT, parameters, rows));

    ASSERT_EQ(rows.size(), 4u);
    std::vector<std::string> const providers{"p1", "p2", "p3", "p4"};
    std::vector<std::string> const sources{"ec_first", "ec_first", "ec_second", "ec_second"};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].Provider, providers[i]);
        EXPECT_EQ(rows[i].Unique_timestamp, static_cast<std::int64_t>(10 * (i + 1)));
        EXPECT_EQ(rows[i].datastore_source, sources[i]);
    }
    EXPECT_EQ(rows[1].rowid, 2);
    EXPECT_EQ(rows[2].rowid, 1);
    EXPECT_EQ(rows[2].Hostname, "h3");
    EXPECT_EQ(vexa::test::steered_last_query(), "SELECT * FROM vexa_1");
}

TEST_F(ExecControlTest, SkipsDatastoresThatOnlyStream) {
    std::bitset<2> stream_only;
    stream_only.set(vexa::datastore::stream);
    std::bitset<2> both;
    both.set(vexa::datastore::data).set(vexa::datastore::stream);
    // Asked, it would log its failure.
    register_steered("ec_stream", "code=1|row=s/h/1", stream_only);
    register_steered("ec_both", "row=b/h/2", both);
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_TRUE(execControl(OP_SELECT, parameters, rows));

    EXPECT_EQ(err.text(), "");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].datastore_source, "ec_both");
}

TEST_F(ExecControlTest, ADatastoreThatThrowsIsLoggedAndTheOthersStillAnswer) {
    register_steered("ec_throw_std", "throw=std|row=x/h/1");
    register_steered("ec_good", "row=p/h/1");
    register_steered("ec_throw_int", "throw=other|row=x/h/1");
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_TRUE(execControl(OP_SELECT, parameters, rows));

    EXPECT_EQ(err.text(),
              "Pulling data failed for \" from the datastore source \"ec_throw_std\"\n"
              "Pulling data failed for \" from the datastore source \"ec_throw_int\"\n");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].datastore_source, "ec_good");
}

TEST_F(ExecControlTest, ReturnsFalseOnlyWhenNoRowsCameBack) {
    register_steered("ec_throw", "throw=std");
    register_steered("ec_empty", "");
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_FALSE(execControl(OP_SELECT, parameters, rows));

    EXPECT_EQ(err.text(), "Pulling data failed for \" from the datastore source \"ec_throw\"\n");
    EXPECT_TRUE(rows.empty());
}

TEST_F(ExecControlTest, EachFailureCodeHasItsMessageAndItsRowsAreDropped) {
    register_steered("ec_unsupported", "code=512");
    register_steered("ec_failed", "code=1");
    register_steered("ec_coded", "code=7");
    register_steered("ec_no_select", "unsupported=select|row=x/h/1");
    register_steered("ec_good", "row=p/h/1");
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_TRUE(execControl(OP_SELECT, parameters, rows));

    EXPECT_EQ(err.text(),
              "Generic querying of data not supported for \"ec_unsupported\"\n"
              "Generic querying of data failed for \"ec_failed\"\n"
              "Generic querying of data failed for \"ec_coded\" with error code 7\n"
              "Generic querying of data not supported for \"ec_no_select\"\n");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].datastore_source, "ec_good");
}

TEST_F(ExecControlTest, AClosedInstanceInTheRegistryAnswersAsFailed) {
    register_steered("ec_closed", "row=p/h/1");
    vexa::datastore::DataStoreController::createDataStoreController().lock()->close({"ec_closed"});
    ScopedLogLevel debug(7);
    StderrCapture err;

    EXPECT_FALSE(execControl(OP_SELECT, parameters, rows));
    EXPECT_EQ(err.text(), "Generic querying of data failed for \"ec_closed\"\n");
}

TEST_F(ExecControlTest, EmptiesTheOutputFirstEvenWithNoDatastore) {
    rows.resize(3);
    rows[0].Provider = "stale";

    EXPECT_FALSE(execControl(OP_SELECT, parameters, rows));
    EXPECT_TRUE(rows.empty());
}

TEST_F(ExecControlTest, ReplacesEarlierContentOfTheOutput) {
    register_steered("ec_good", "row=p/h/1");
    rows.resize(2);
    rows[0].Provider = "stale";

    EXPECT_TRUE(execControl(OP_SELECT, parameters, rows));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Provider, "p");
}

}  // namespace
