#include "source_settings.h"

#include <vector>

#include <odbcinst.h>

#include <datastore/source_parameters.h>
#include <util/str.h>

namespace vexa::datastore::odbc_plugin {

namespace {

// The "key=value" items of a connection string, keys in lower case.
std::vector<std::pair<std::string, std::string>> items_of(std::string const& text) {
    std::vector<std::pair<std::string, std::string>> items;
    for (std::string const& item : str::split(text, ';', false)) {
        std::string::size_type const equals = item.find('=');
        if (equals != std::string::npos) {
            items.emplace_back(str::ascii_lower(str::stripws(item.substr(0, equals))),
                               str::stripws(item.substr(equals + 1)));
        }
    }
    return items;
}

// Whether the DSN's entry in odbc.ini sets `key`.
bool dsn_sets(std::string const& dsn, char const* key) {
    char value[64] = {};
    return SQLGetPrivateProfileString(dsn.c_str(), key, "", value, sizeof value, "odbc.ini") > 0;
}

struct Default {
    char const* key;
    char const* value;
};

// Settings of the drivers, each ignored by the other driver.
constexpr Default driver_defaults[] = {
    // Results stream from the server instead of being held whole by the
    // driver (psqlODBC, then SQLite ODBC).
    {"UseDeclareFetch", "1"},
    {"Fetch", "10000"},
    {"StepAPI", "1"},
    // psqlODBC rolls back the whole transaction on an error, not the one
    // statement: a failed batch is rolled back whole anyway, and the
    // savepoint it would otherwise set around every statement of a batch
    // makes batched inserts three times slower.
    {"Protocol", "7.4-1"},
};

}  // namespace

std::string SourceSettings::connection_string() const {
    std::string text = is_dsn() ? "DSN=" + target : target;
    auto const items = items_of(text);
    std::string dsn;
    for (auto const& [key, value] : items) {
        if (key == "dsn") {
            dsn = value;
        }
    }
    for (Default const& setting : driver_defaults) {
        bool said = !dsn.empty() && dsn_sets(dsn, setting.key);
        for (auto const& item : items) {
            said = said || item.first == str::ascii_lower(setting.key);
        }
        if (!said) {
            if (!text.empty() && text.back() != ';') {
                text += ';';
            }
            text += std::string(setting.key) + "=" + setting.value;
        }
    }
    return text;
}

std::string SourceSettings::display() const {
    if (is_dsn()) {
        return "dsn=" + target;
    }
    std::string shown;
    for (std::string const& item : str::split(target, ';', false)) {
        std::string::size_type const equals = item.find('=');
        std::string const key = str::ascii_lower(str::stripws(item.substr(0, equals)));
        if (!shown.empty()) {
            shown += ';';
        }
        shown += key == "pwd" || key == "password" ? item.substr(0, equals) + "=***" : item;
    }
    return "connection=" + shown;
}

SourceSettings read_source_settings(std::string const& params) {
    OdbcSourceParameters const read = read_odbc_source_parameters(params);
    SourceSettings source;
    source.target = read.target;
    source.read_only = read.read_only;
    source.timeout = read.time_limit;
    return source;
}

}  // namespace vexa::datastore::odbc_plugin
