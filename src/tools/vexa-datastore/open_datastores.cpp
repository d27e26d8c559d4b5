#include "open_datastores.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace vexa::tool {

using datastore::DataStoreConfig;
using datastore::DataStoreParseUtility;

namespace {

// libxml2 would print its own multi-line reports; the tool reports the last
// error in its one line instead.
void ignore_xml_message(void*, char const*, ...) {}

// "file:line: message" of libxml2's last error, or "" when there is none.
std::string last_xml_error() {
    auto const* error = xmlGetLastError();
    if (error == nullptr || error->message == nullptr) {
        return "";
    }
    std::string message = vexa::str::stripws(error->message);
    if (error->file != nullptr) {
        message = std::string(error->file) + ":" + std::to_string(error->line) + ": " + message;
    }
    return message;
}

std::vector<DataStoreConfig> read_configurations(std::string const& file) {
    DataStoreConfig const fallback;
    if (file.empty()) {
        return DataStoreParseUtility::parse_db_configs(nullptr, fallback);
    }
    if (access(file.c_str(), R_OK) != 0) {
        throw std::runtime_error("cannot read configuration file " + file + ": " +
                                 std::strerror(errno));
    }
    xmlSetGenericErrorFunc(nullptr, ignore_xml_message);
    xmlResetLastError();
    std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
        xmlReadFile(file.c_str(), nullptr, XML_PARSE_NOERROR | XML_PARSE_NOWARNING), xmlFreeDoc);
    if (!document) {
        throw std::runtime_error("configuration file " + file +
                                 " is not valid XML: " + last_xml_error());
    }
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
        if (config.extension_name.empty()) {
            throw std::runtime_error("configuration file " + file +
                                     " names no datastore: it needs group elements holding entry "
                                     "elements, as in etc/datastore/datastores.xml");
        }
    }
    return configs;
}

}  // namespace

std::vector<ConfiguredDatastore> open_configured_datastores(std::string const& config_file) {
    std::vector<ConfiguredDatastore> result;
    for (auto const& config : read_configurations(config_file)) {
        std::vector<DataStoreConfig> one{config};
        DataStoreParseUtility::fillInVacantFields(one);
        ConfiguredDatastore entry{one.front(), ""};
        try {
            DataStoreParseUtility::initializeDatastoreExtensions(one);
        } catch (std::exception const& e) {
            entry.error = e.what();
        }
        result.push_back(std::move(entry));
    }
    return result;
}

void open_datastores_or_fail(std::string const& config_file) {
    for (auto const& datastore : open_configured_datastores(config_file)) {
        if (!datastore.error.empty()) {
            // The plug-in says why it could not open only in its log.
            bool log_hidden = vexa::log::LOG_LEVEL < 4;
            throw std::runtime_error("cannot open datastore \"" + datastore.config.instance_name +
                                     "\" at " + data_source(datastore.config) + ": " +
                                     datastore.error + (log_hidden ? " (-v shows why)" : ""));
        }
    }
}

std::string library_path(DataStoreConfig const& config) {
    return DataStoreParseUtility::generate_path(config.extension_path, config.extension_name, "");
}

std::string data_source(DataStoreConfig const& config) {
    if (config.type != datastore::sqlite3) {
        return config.source_parameters;
    }
    std::string source = datastore::DEFAULT_DATA_SOURCE;
    bool read_only = false;
    parse_sqlite_params(config.source_parameters, source, read_only);
    return vexa::str::wordexp(source);
}

}  // namespace vexa::tool
