// parse_db_configs over a group document and the datastore configuration
// files its entries name. Input: the group document, then up to four
// configuration files c0.xml to c3.xml, separated by form feeds. The files
// lie in <scratch>/etc/datastore, the installation directory's configuration
// directory, so entries name them without a path.
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/datastore.h>
#include <util/log.h>
#include <util/str.h>

#include "fuzz_support.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreConfig;
using vexa::datastore::DataStoreParseUtility;

constexpr std::size_t kMaxFiles = 4;

// Paths where a read may block for ever (devices, pipes) or never end; a
// configuration naming them is the operator's choice, not a parser fault.
bool names_special_files(std::string const& group) {
    for (char const* place : {"/dev", "/proc", "/sys", "/run"}) {
        if (group.find(place) != std::string::npos) {
            return true;
        }
    }
    return false;
}

void ignore_xml_errors(void* /*context*/, char const* /*format*/, ...) {}

std::string const& config_dir() {
    static std::string const dir = [] {
        std::string const& root = vexa::fuzz::scratch_dir();
        vexa::fuzz::check(DataStoreParseUtility::set_default_install_path(root),
                          "cannot set the installation directory");
        std::filesystem::create_directories(root + "/etc/datastore");
        // Messages of the walk and libxml2's parse errors would only slow
        // the run.
        vexa::log::LOG_LEVEL = -1;
        xmlSetGenericErrorFunc(nullptr, ignore_xml_errors);
        return root + "/etc/datastore";
    }();
    return dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::vector<std::string> const sections =
        vexa::str::split(vexa::fuzz::text_of(data, size), '\f', true);
    if (names_special_files(sections[0])) {
        return 0;
    }
    std::string const& dir = config_dir();
    for (std::size_t i = 0; i < kMaxFiles; ++i) {
        std::string const file = dir + "/c" + std::to_string(i) + ".xml";
        if (i + 1 < sections.size()) {
            vexa::test::write_file(file, sections[i + 1]);
        } else {
            std::filesystem::remove(file);
        }
    }

    xmlDoc* const group = xmlReadMemory(sections[0].data(), static_cast<int>(sections[0].size()),
                                        "group.xml", nullptr, 0);
    DataStoreConfig fallback;
    fallback.instance_name = "fallback";
    try {
        std::vector<DataStoreConfig> const configs = DataStoreParseUtility::parse_db_configs(
            group == nullptr ? nullptr : xmlDocGetRootElement(group), fallback);
        vexa::fuzz::check(!configs.empty(), "parse_db_configs returned no record");
    } catch (std::runtime_error const&) {
        // A configuration file that cannot be read or holds a bad attribute.
    }
    xmlFreeDoc(group);
    return 0;
}
