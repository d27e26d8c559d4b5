// The registry of open datastore instances, the directories that default
// paths are formed from, completion of vacant fields and selection by type.
#include <datastore/parse_utility.h>

#include <algorithm>
#include <iterator>

#include <datastore/vocabulary.h>
#include <util/common_constants.h>
#include <util/fs.h>
#include <util/str.h>

namespace vexa::datastore {

std::vector<DataStoreInstance> DataStoreParseUtility::db_vec;
std::string DataStoreParseUtility::default_install_path = util::CommonConstants::INSTALL_ROOT();
// DEFAULT_EXTENSION_PATH is built before any object of this file (see
// vocabulary.cpp), so the copy is never taken from an empty string.
std::string DataStoreParseUtility::default_extension_path = DEFAULT_EXTENSION_PATH;
timeval DataStoreParseUtility::unique_timestamp = {0, 0};

namespace {

// The whole text of the default SQLite data source: read-only flag first,
// then the path in double quotes.
std::string default_sqlite_parameters() {
    return "read_only=false|source=\"" + DEFAULT_DATA_SOURCE + "\"";
}

bool set_directory(std::string& directory, std::string const& path) {
    if (path.empty()) {
        return false;
    }
    directory = fs::abspath(str::wordexp(path));
    return true;
}

}  // namespace

std::vector<DataStoreInstance>& DataStoreParseUtility::get_datastore_vector() { return db_vec; }

std::vector<DataStoreInstance> DataStoreParseUtility::locate_datastores(
    std::vector<std::string> names) {
    std::vector<DataStoreInstance> found;
    for (std::string const& name : names) {
        auto const match = std::find_if(db_vec.begin(), db_vec.end(), [&](auto const& instance) {
            return instance.first.instance_name == name;
        });
        if (match != db_vec.end()) {
            found.push_back(*match);
        }
    }
    return found;
}

void DataStoreParseUtility::fillInVacantFields(std::vector<DataStoreConfig>& configs) {
    // Plain concatenation: the default extension path begins with "/", so
    // the result holds a doubled slash, which the file system reads as one.
    std::string const extension_directory = default_install_path + "/" + default_extension_path;
    for (DataStoreConfig& config : configs) {
        if (config.instance_name.empty()) {
            config.instance_name = DEFAULT_DATASTORE_NAME;
        }
        if (config.extension_name.empty()) {
            if (config.type == sqlite3) {
                config.extension_name = DEFAULT_DATASTORE_SQLITE_EXTENSION_NAME;
            } else if (config.type == odbc) {
                config.extension_name = DEFAULT_DATASTORE_ODBC_EXTENSION_NAME;
            }
        }
        if (config.extension_path.empty()) {
            config.extension_path = extension_directory;
        }
        if (config.source_parameters.empty()) {
            if (config.type == sqlite3) {
                config.source_parameters = default_sqlite_parameters();
            } else if (config.type == odbc) {
                config.source_parameters = odbc_default_dsn;
            }
        }
        if (config.source_types.none()) {
            config.source_types.set(data);
        }
    }
}

CombinedRType DataStoreParseUtility::get_configurations_by_type(CombinedRType const& from,
                                                                std::bitset<2> source_types,
                                                                std::vector<DatabaseType> types,
                                                                bool open_instances) {
    CombinedRType selected;
    if (source_types.none() && types.empty()) {
        return selected;
    }
    if (types.empty()) {
        types = {sqlite3, odbc, other};
    }
    // A record may hold more kinds of data than asked for, never fewer.
    auto const qualifies = [&](DataStoreConfig const& config) {
        return (config.source_types & source_types) == source_types &&
               std::find(types.begin(), types.end(), config.type) != types.end();
    };
    if (open_instances) {
        std::copy_if(from.instances.begin(), from.instances.end(),
                     std::back_inserter(selected.instances),
                     [&](auto const& instance) { return qualifies(instance.first); });
    } else {
        std::copy_if(from.configurations.begin(), from.configurations.end(),
                     std::back_inserter(selected.configurations), qualifies);
    }
    return selected;
}

std::string DataStoreParseUtility::get_default_install_path() { return default_install_path; }

std::string DataStoreParseUtility::get_default_extension_path() { return default_extension_path; }

bool DataStoreParseUtility::set_default_install_path(std::string path) {
    return set_directory(default_install_path, path);
}

bool DataStoreParseUtility::set_default_extension_path(std::string path) {
    return set_directory(default_extension_path, path);
}

bool DataStoreParseUtility::set_unique_timestamp(timeval stamp) {
    unique_timestamp = stamp;
    return true;
}

timeval DataStoreParseUtility::get_unique_timestamp() { return unique_timestamp; }

}  // namespace vexa::datastore
