#include "support/open_datastores.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "support/source_keys.h"
#include "support/time_limit.h"
#include "support/xml_documents.h"

namespace vexa::tool {

using datastore::DataStoreConfig;
using datastore::DataStoreParseUtility;

namespace {

std::vector<DataStoreConfig> read_configurations(std::string const& file) {
    DataStoreConfig const fallback;
    if (file.empty()) {
        return DataStoreParseUtility::parse_db_configs(nullptr, fallback);
    }
    XmlDocument const document = read_configuration_file(file);
    std::vector<DataStoreConfig> configs;
    try {
        configs =
            DataStoreParseUtility::parse_db_configs(xmlDocGetRootElement(document.get()), fallback);
    } catch (std::exception const& e) {
        std::string detail = last_xml_error();
        throw std::runtime_error("configuration file " + file + ": " + e.what() +
                                 (detail.empty() ? "" : " (" + detail + ")"));
    }
    // Every entry names its plug-in, so a record without one is the fallback:
    // the document held no usable entry.
    for (auto const& config : configs) {
        // The entry's text is taken as it stands, so a pretty-printed entry
        // would name a plug-in file with line breaks in it.
        if (config.extension_name.find('\n') != std::string::npos) {
            throw std::runtime_error("configuration file " + file + ": the entry \"" +
                                     vexa::str::stripws(config.extension_name) +
                                     "\" is written over several lines: write the entry's file "
                                     "name on one line");
        }
        if (config.extension_name.empty()) {
            throw std::runtime_error("configuration file " + file +
                                     " names no datastore: it needs group elements holding entry "
                                     "elements, as in etc/datastore/datastores.xml");
        }
    }
    return configs;
}

}  // namespace

namespace {

// The instance opened read-only when it is an SQLite file: its items as
// written but read_only, which becomes true.
DataStoreConfig for_reading(DataStoreConfig config) {
    if (config.type == datastore::sqlite3) {
        std::string items;
        for (std::string const& item : str::split(config.source_parameters, '|', false)) {
            if (str::stripws(item.substr(0, item.find('='))) != "read_only") {
                items += item + "|";
            }
        }
        config.source_parameters = items + "read_only=true";
    }
    return config;
}

// The plug-in's reason, when it gave one, else the library's.
std::string open_failure_reason(std::string const& instance_name, std::exception const& error) {
    auto const failure = datastore::open_failure(instance_name);
    return failure && !failure->reason.empty() ? failure->reason : error.what();
}

// SQLite reports every file it cannot open with one text; the system's
// reason ("Permission denied", "Is a directory") is the one to act on. The
// file is only opened to learn it: nothing is created, and a pipe or device
// in its place neither blocks nor becomes the controlling terminal.
std::string system_reason(DataStoreConfig const& config, std::string const& reason, Access mode) {
    if (config.type != datastore::sqlite3 || reason != "unable to open database file") {
        return reason;
    }
    std::string const path = data_source(config);
    int const fd = open(path.c_str(), (mode == Access::read ? O_RDONLY : O_RDWR) | O_CLOEXEC |
                                          O_NONBLOCK | O_NOCTTY);
    if (fd >= 0) {
        close(fd);
        return reason;
    }
    int const cause = errno;
    if (cause == ENOENT && mode == Access::write) {
        return reason;  // a file about to be created; its directory is the plug-in's to report
    }
    return std::strerror(cause);
}

// Opens the instance `one` holds; why it did not open, or "".
std::string opening_error(std::vector<DataStoreConfig>& one, bool is_default, Access mode) {
    DataStoreConfig const config = one.front();
    if (is_default && mode == Access::read && access(data_source(config).c_str(), F_OK) != 0) {
        return "it does not exist yet (create it with \"vexa-datastore demo\" or "
               "\"vexa-datastore insert\")";
    }
    set_waiting_for("opening datastore \"" + config.instance_name + "\"");
    try {
        DataStoreParseUtility::initializeDatastoreExtensions(one);
    } catch (std::exception const& e) {
        return system_reason(config, open_failure_reason(config.instance_name, e), mode);
    }
    apply_datastore_time_limit(config.instance_name);
    return "";
}

}  // namespace

std::vector<ConfiguredDatastore> open_configured_datastores(std::string const& config_file,
                                                            Access mode) {
    std::vector<ConfiguredDatastore> result;
    for (auto const& config : read_configurations(config_file)) {
        std::vector<DataStoreConfig> one{config};
        DataStoreParseUtility::fillInVacantFields(one);
        // Checked as written, before reading changes them, so that reading
        // and writing refuse the same parameters (a misspelt key must not
        // open the default file).
        std::string const fault = source_parameters_fault(one.front());
        if (mode == Access::read && fault.empty()) {
            one.front() = for_reading(one.front());
        }
        ConfiguredDatastore entry{one.front(), fault};
        if (fault.empty()) {
            entry.error = opening_error(one, config_file.empty(), mode);
        }
        result.push_back(std::move(entry));
    }
    return result;
}

std::size_t open_datastores(std::string const& config_file, Access mode) {
    auto datastores = open_configured_datastores(config_file, mode);
    std::size_t failed = 0;
    for (auto const& datastore : datastores) {
        failed += datastore.error.empty() ? 0 : 1;
    }
    for (auto const& datastore : datastores) {
        if (datastore.error.empty()) {
            continue;
        }
        std::string const text = "datastore \"" + datastore.config.instance_name + "\" at " +
                                 data_source(datastore.config) + ": " + datastore.error;
        if (failed == datastores.size()) {
            throw std::runtime_error("cannot open " + text);
        }
        std::cerr << "vexa-datastore: warning: cannot open " << text << " (going on without it)\n";
    }
    return failed;
}

std::string library_path(DataStoreConfig const& config) {
    return DataStoreParseUtility::generate_path(config.extension_path, config.extension_name, "");
}

std::string data_source(DataStoreConfig const& config) {
    if (config.type != datastore::sqlite3) {
        return config.source_parameters;
    }
    std::string source;
    try {
        source = datastore::read_sqlite_source_parameters(config.source_parameters).source;
    } catch (datastore::SourceParametersError const&) {
        return config.source_parameters;  // parameters the plug-in refuses name no file
    }
    try {
        return fs::expand_path(source);  // the very file the plug-in opens, blanks and all
    } catch (std::runtime_error const&) {
        return source;  // as written: opening it fails with the plug-in's reason
    }
}

}  // namespace vexa::tool
