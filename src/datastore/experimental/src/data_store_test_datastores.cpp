// Test datastores: SQLite files built from SQL scripts, and configurations
// registered as they stand.
#include <datastore/parse_utility.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>

#include <datastore/controller.h>
#include <quillo1/quillo1.h>

namespace vexa::datastore {

void DataStoreParseUtility::create_from_sqlfile(std::string const& sql_file,
                                                std::string const& db_file) {
    quillo1::Connection* raw = nullptr;
    if (quillo1::newConnection(db_file, 0, &raw) != 0) {
        throw std::runtime_error("Unable to open datastore file " + db_file);
    }
    quillo1::AutoPtr<quillo1::Connection> connection(raw);
    std::ifstream script(sql_file);
    if (!script) {
        throw std::runtime_error("Unable to open sql file for reading " + sql_file);
    }
    // One statement per line, issued exactly as read: a statement spread over
    // two lines fails on its first line. Commands already run stay applied.
    std::string line;
    while (std::getline(script, line)) {
        if (connection->issueCommand(line) != 0) {
            throw std::runtime_error("SQL command error: " + line);
        }
    }
}

void DataStoreParseUtility::load_utest_sql_file(std::string sql_file, std::string db_file,
                                                bool reset, std::string instance_name,
                                                bool read_only) {
    if (reset) {
        clear_db_vector();
    }
    create_from_sqlfile(sql_file, db_file);

    DataStoreConfig config;
    config.type = sqlite3;
    config.instance_name = std::move(instance_name);
    config.extension_name = "libsqlite.so";
    config.source_parameters =
        "source=" + db_file + (read_only ? "|read_only=true" : "|read_only=false");
    // Required on purpose, with no fallback: without it the string cannot be
    // built and std::logic_error tells the test that its setup is incomplete.
    config.extension_path = std::string(std::getenv("VEXA_DSE_PATH"));

    std::shared_ptr<DataStoreController> controller =
        DataStoreController::createDataStoreController().lock();
    if (controller && reset) {
        controller->close({});
    }
    std::vector<DataStoreConfig> configs{std::move(config)};
    insert_db_instance(configs);
}

int DataStoreParseUtility::load_utest_config(DataStoreConfig config, bool reset) {
    std::shared_ptr<DataStoreController> controller =
        DataStoreController::createDataStoreController().lock();
    if (reset) {
        clear_db_vector();
        if (controller) {
            controller->close({});
        }
    }
    std::vector<DataStoreConfig> configs{std::move(config)};
    insert_db_instance(configs);
    return 0;
}

}  // namespace vexa::datastore
