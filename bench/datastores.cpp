#include "datastores.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include <datastore/parse_utility.h>
#include <datastore/vocabulary.h>
#include <util/common_constants.h>

#include "plain_sqlite.h"

namespace vexa::bench {

using datastore::DataStoreParseUtility;

void register_sqlite(std::string const& instance, std::string const& file, bool read_only) {
    datastore::DataStoreConfig config;
    config.type = datastore::sqlite3;
    config.instance_name = instance;
    config.extension_name = datastore::DEFAULT_DATASTORE_SQLITE_EXTENSION_NAME;
    config.extension_path = util::CommonConstants::INSTALL_ROOT() + "datastore/quarn64";
    config.source_parameters = "source=" + file + "|read_only=" + (read_only ? "true" : "false");
    config.source_types.set(datastore::data);
    std::vector<datastore::DataStoreConfig> configs{config};
    DataStoreParseUtility::initializeDatastoreExtensions(configs);
    auto const& registry = DataStoreParseUtility::get_datastore_vector();
    if (registry.empty() || registry.back().first.instance_name != instance) {
        throw std::runtime_error("could not register " + file + " as " + instance);
    }
}

SoleDatastore::SoleDatastore(std::string const& instance, std::string const& file, bool read_only) {
    if (!DataStoreParseUtility::get_datastore_vector().empty()) {
        throw std::logic_error("SoleDatastore needs an empty registry");
    }
    register_sqlite(instance, file, read_only);
    held_.swap(DataStoreParseUtility::get_datastore_vector());
}

SoleDatastore::Shown::Shown(std::vector<datastore::DataStoreInstance>& held) : held(held) {
    held.swap(DataStoreParseUtility::get_datastore_vector());
}

SoleDatastore::Shown::~Shown() { held.swap(DataStoreParseUtility::get_datastore_vector()); }

void drop_latest_state(std::string const& file, bool table) {
    PlainDatabase db(file, false);
    std::string const state = datastore::table_name + "_state";
    for (;;) {
        // Every trigger keeping the state, whatever the version named it;
        // one at a time, as the name query must finish before its trigger
        // goes.
        std::string const trigger = db.text_of(
            "SELECT name FROM sqlite_master WHERE type = 'trigger' AND substr(name, 1, " +
            std::to_string(state.size() + 1) + ") = '" + state + "_' LIMIT 1");
        if (trigger.empty()) {
            break;
        }
        db.exec("DROP TRIGGER \"" + trigger + "\"");
    }
    if (table) {
        db.exec("DROP TABLE IF EXISTS " + state + ";");
    }
}

void copy_without_indexes(std::string const& from, std::string const& to) {
    copy_database(from, to);
    drop_latest_state(to, true);
    PlainDatabase db(to, false);
    for (;;) {
        // One at a time: the name query must finish before its index goes.
        std::string const name = db.text_of(
            "SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL AND "
            "tbl_name = '" +
            datastore::table_name + "' LIMIT 1");
        if (name.empty()) {
            return;
        }
        db.exec("DROP INDEX \"" + name + "\"");
    }
}

void copy_database(std::string const& from, std::string const& to) {
    remove_database(to);
    std::filesystem::copy_file(from, to);
    int const fd = open(to.c_str(), O_RDONLY | O_CLOEXEC);
    bool const synced = fd >= 0 && fsync(fd) == 0;
    if (fd >= 0) {
        close(fd);
    }
    if (!synced) {
        throw std::runtime_error("cannot write " + to + " to disk");
    }
}

void remove_database(std::string const& file) {
    for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
        std::filesystem::remove(file + suffix);
    }
}

}  // namespace vexa::bench
