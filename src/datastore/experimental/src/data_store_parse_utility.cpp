// Reading datastore configuration: the group document, one configuration
// file per entry, and the paths that tie them to the installation directory.
#include <datastore/parse_utility.h>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <stdexcept>

#include <datastore/vocabulary.h>
#include <util/fs.h>
#include <util/str.h>
#include <util/xml.h>

namespace vexa::datastore {

namespace {

char const kDefaultConfigFile[] = "default_sqlite.xml";
char const kConfigDirectory[] = "/etc/datastore";
char const kBadType[] = "Invalid value for attribute type ";
char const kBadSourceType[] = "Invalid value for attribute source types ";

}  // namespace

std::vector<DataStoreConfig> DataStoreParseUtility::parse_db_configs(
    xmlNode* node, DataStoreConfig const& fallback) {
    std::vector<DataStoreConfig> configs;
    if (node != nullptr) {
        ParseConfig parse_entry;
        // A walk stopped by a faulty entry still hands back the records read
        // before it, so its result is not needed here.
        xml::parse_the_group_tags<ParseConfig, std::vector<DataStoreConfig>&>(node, parse_entry,
                                                                              configs);
    }
    if (configs.empty()) {
        configs.push_back(fallback);
    }
    return configs;
}

bool DataStoreParseUtility::ParseConfig::operator()(std::string group_path, std::string config_path,
                                                    std::string config_file, std::string entry_text,
                                                    std::vector<DataStoreConfig>& out) {
    DataStoreConfig config;
    config.extension_path = generate_path(group_path, "", default_install_path);
    config.extension_name = entry_text;

    std::string file = str::stripws(config_file);
    if (file.empty()) {
        file = kDefaultConfigFile;
    }
    std::string const location =
        generate_path(str::stripws(config_path), file, default_install_path + kConfigDirectory);
    if (!location.empty()) {
        // The document is kept, never freed, for the life of the process.
        xmlDoc* const document = xmlReadFile(location.c_str(), nullptr, 0);
        if (document == nullptr) {
            throw std::runtime_error("Error opening datastore configuration");
        }
        parse_xml(xmlDocGetRootElement(document), config);
    }
    out.push_back(config);
    return true;
}

bool DataStoreParseUtility::parse_xml(xmlNode* root, DataStoreConfig& config) {
    if (root == nullptr) {
        return false;
    }
    if (!xml::char_cmp_str(root->name, "configuration")) {
        return true;
    }
    // The table is ordered by name, which fixes which fault of a file with
    // several is reported first.
    for (auto const& [name, field] : db_fields_map) {
        std::string const value = str::stripws(xml::get_str(root, name, ""));
        switch (field) {
            case DBFields::instance_name:
                config.instance_name = value;
                break;
            case DBFields::source_parameters:
                // A missing data source is reported with the type message,
                // as callers have always seen it.
                if (value.empty()) {
                    throw std::runtime_error(kBadType + value);
                }
                config.source_parameters = value;
                break;
            case DBFields::type: {
                auto const found = database_type_map.find(value);
                if (found == database_type_map.end()) {
                    throw std::runtime_error(kBadType + value);
                }
                config.type = found->second;
                break;
            }
            case DBFields::source_types:
                config.source_types.reset();
                for (std::string const& piece : str::split(value, '|', false)) {
                    auto const found = source_type_map.find(piece);
                    if (found == source_type_map.end()) {
                        throw std::runtime_error(kBadSourceType + piece);
                    }
                    config.source_types.set(found->second);
                }
                break;
        }
    }
    return true;
}

std::string DataStoreParseUtility::generate_path(std::string path, std::string file,
                                                 std::string base) {
    std::string result = path.empty() ? base : path;
    // "$..." is left for expansion; "./..." and "/..." are not rooted at base.
    bool const rooted_elsewhere = result.find_first_of("$./") == 0;
    if (!rooted_elsewhere && !base.empty()) {
        result = base + "/" + result;
    }
    if (!file.empty()) {
        result += "/" + file;
    }
    return str::squeeze(fs::abspath(str::wordexp(result)), '/');
}

}  // namespace vexa::datastore
