// The SQLite plug-in's open_instance and its reads over arbitrary database
// file bytes. The first byte chooses the mode: odd opens read-only, even
// opens writable (which also creates the schema and stores one record).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <datastore/datastore.h>
#include <util/log.h>

#include "fuzz_support.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::ReadParameters;
using vexa::datastore::Row;
using vexa::datastore::SQLParameters;

void check_result(int result) {
    vexa::fuzz::check(result == DataStoreExtension::OPERATION_SUCCESSFULL ||
                          result == DataStoreExtension::OPERATION_UNSUCCESSFULL,
                      "control answered neither 0 nor 1");
}

// The reads the library makes: a free query, the latest rows, the hosts.
void read_everything(DataStoreExtension& extension) {
    SQLParameters sql;
    sql.query = "SELECT * FROM vexa_1;";
    ReadParameters parameters;
    parameters.providers = {"cpu_load", "uname"};
    parameters.sql = &sql;
    std::vector<Row> rows;
    check_result(extension.control(vexa::datastore::OP_SELECT, &parameters, &rows, nullptr));
    check_result(
        extension.control(vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows, nullptr));
    check_result(extension.control(vexa::datastore::OP_SELECT_HOSTS, &parameters, &rows, nullptr));
}

void store_one(DataStoreExtension& extension) {
    vexa::datastore::InsertRequest record;
    record.header.Provider = "cpu_load";
    record.header.Hostname = "n1";
    record.header.node_names = {"n1"};
    record.header.num_nodes = 1;
    record.header.Unique_timestamp = 1'700'000'000'000'000;
    record.stdout_text = "load 0.5";
    check_result(extension.control(vexa::datastore::OP_INSERT, nullptr, &record, nullptr));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    vexa::log::LOG_LEVEL = -1;
    bool const read_only = (data[0] & 1) != 0;
    std::string const file = vexa::fuzz::scratch_dir() + "/fuzzed.db";
    for (char const* suffix : {"-wal", "-shm", "-journal"}) {
        unlink((file + suffix).c_str());
    }
    vexa::test::write_file(file, vexa::fuzz::text_of(data + 1, size - 1));

    vexa::fuzz::ExtensionPtr const extension = vexa::fuzz::create_sqlite_extension();
    std::string const mode = read_only ? "true" : "false";
    if (extension->open_instance("source=" + file + "|read_only=" + mode) !=
        DataStoreExtension::OPERATION_SUCCESSFULL) {
        vexa::fuzz::check(!extension->is_ready(), "a failed open left the instance ready");
        return 0;
    }
    if (!read_only) {
        store_one(*extension);
    }
    read_everything(*extension);
    return 0;
}
