// A program built against the installed package with `pkg-config
// vexa-datastore`. It reads the group document the package ships through the
// installation root the library computes for itself, so it shows that the
// configuration under /etc is found, and prints each instance as
// "<name> <source parameters> <plug-in file>". Fails when nothing is
// configured or a plug-in file is missing.
#include <libxml/parser.h>
#include <unistd.h>

#include <iostream>
#include <string>

#include <datastore/datastore.h>

int main() {
    using vexa::datastore::DataStoreConfig;
    using vexa::datastore::DataStoreParseUtility;

    std::string const group =
        vexa::util::CommonConstants::INSTALL_ROOT() + "etc/datastore/datastores.xml";
    xmlDoc* document = xmlReadFile(group.c_str(), nullptr, 0);
    if (document == nullptr) {
        std::cerr << "cannot read " << group << "\n";
        return 1;
    }
    auto configs =
        DataStoreParseUtility::parse_db_configs(xmlDocGetRootElement(document), DataStoreConfig{});
    xmlFreeDoc(document);
    DataStoreParseUtility::fillInVacantFields(configs);

    int status = configs.empty() ? 1 : 0;
    for (auto const& config : configs) {
        std::string const plugin =
            DataStoreParseUtility::generate_path(config.extension_path, config.extension_name, "");
        bool const present = access(plugin.c_str(), R_OK) == 0;
        std::cout << config.instance_name << " " << config.source_parameters << " " << plugin
                  << (present ? "" : " (missing)") << "\n";
        status |= present ? 0 : 1;
    }
    return status;
}
