#include "support/source_keys.h"

#include "support/closest_name.h"

namespace vexa::tool {

namespace {

// The plug-ins' own readers are not part of the library, so these mirror
// them: src/datastore/extensions/*/source_settings.cpp.

struct Key {
    std::string name;
    char const* first;  // the values it takes; nullptr: any
    char const* second;
};

Key const kReadOnly = {"read_only", "false", "true"};

Key const kSqliteKeys[] = {
    {"source", nullptr, nullptr},
    kReadOnly,
    {"synchronous", "normal", "full"},
};

// The fault of one "key=value" item when only `keys` may be named.
template <std::size_t N>
std::string item_fault(std::string const& item, Key const (&keys)[N]) {
    std::string::size_type const equals = item.find('=');
    std::string const key = str::stripws(item.substr(0, equals));
    std::string const value = str::stripws(item.substr(equals + 1));
    std::vector<std::string> names;
    for (Key const& known : keys) {
        if (known.name == key) {
            return known.first == nullptr || value == known.first || value == known.second
                       ? ""
                       : key + " must be " + known.first + " or " + known.second + ", not \"" +
                             value + "\"";
        }
        names.push_back(known.name);
    }
    return "unknown source key '" + key + "'" + did_you_mean(key, names);
}

std::string sqlite_fault(std::string const& parameters) {
    for (std::string const& item : str::split(parameters, '|', true)) {
        if (str::split(item, '=', true).size() != 2) {
            return "malformed source parameters \"" + parameters + "\"";
        }
        std::string fault = item_fault(item, kSqliteKeys);
        if (!fault.empty()) {
            return fault;
        }
    }
    return "";
}

// Only what follows the last "|" is an item; the rest is the data source.
std::string odbc_fault(std::string const& parameters) {
    std::string::size_type const bar = parameters.rfind('|');
    if (bar == std::string::npos) {
        return "";
    }
    std::string const item = parameters.substr(bar + 1);
    if (item.find('=') == std::string::npos) {
        return "malformed source parameters \"" + parameters + "\"";
    }
    Key const keys[] = {kReadOnly};
    return item_fault(item, keys);
}

}  // namespace

std::string source_parameters_fault(datastore::DataStoreConfig const& config) {
    switch (config.type) {
        case datastore::sqlite3:
            return sqlite_fault(config.source_parameters);
        case datastore::odbc:
            return odbc_fault(config.source_parameters);
        default:
            return "";
    }
}

}  // namespace vexa::tool
