#include "source_settings.h"

#include <stdexcept>

#include <datastore/extension.h>
#include <datastore/vocabulary.h>
#include <util/fs.h>
#include <util/str.h>

#include "timeout_seconds.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// Refuses `value` of `key` unless it is `first` or `second`; true for `second`.
bool choice(std::string const& key, std::string const& value, char const* first,
            char const* second) {
    if (value != first && value != second) {
        throw std::runtime_error(key + " must be " + first + " or " + second + ", not \"" + value +
                                 "\"");
    }
    return value == second;
}

}  // namespace

SourceSettings read_source_settings(std::string const& parameters) {
    SourceSettings settings;
    std::string source = DEFAULT_DATA_SOURCE;
    // The shared reader gives the source as every tool reads it; the keys and
    // values it passes over are checked here.
    if (!parse_sqlite_params(parameters, source, settings.read_only)) {
        throw std::runtime_error("malformed source parameters \"" + parameters + "\"");
    }
    // Every part is a key=value pair: the shared reader returned true.
    for (std::string const& part : str::split(parameters, '|', true)) {
        std::vector<std::string> const pieces = str::split(part, '=', true);
        std::string const key = str::stripws(pieces[0]);
        std::string const value = str::stripws(pieces[1]);
        if (key == "read_only") {
            choice(key, value, "false", "true");
        } else if (key == "synchronous") {
            settings.full_sync = choice(key, value, "normal", "full");
        } else if (key == "timeout") {
            settings.time_limit = common::timeout_seconds(value);
        } else if (key != "source") {
            throw std::runtime_error("unknown key \"" + key + "\" in source parameters \"" +
                                     parameters + "\"");
        }
    }
    settings.path = fs::expand_path(source);
    if (settings.path.empty()) {
        throw std::runtime_error("no database file named");
    }
    return settings;
}

}  // namespace vexa::datastore::sqlite_plugin
