#include "source_settings.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <stdexcept>

#include <datastore/extension.h>
#include <datastore/vocabulary.h>
#include <util/fs.h>
#include <util/str.h>

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

// Reads SECONDS of timeout=SECONDS: digits, optionally a point and more
// digits; anything else is refused rather than read as far as it goes.
std::chrono::milliseconds seconds(std::string const& value) {
    std::size_t const point = value.find('.');
    std::string const whole = value.substr(0, point);
    std::string const fraction = point == std::string::npos ? "1" : value.substr(point + 1);
    auto const digits = [](std::string const& text) {
        return !text.empty() && text.size() <= 9 &&
               std::all_of(text.begin(), text.end(),
                           [](unsigned char c) { return std::isdigit(c) != 0; });
    };
    if (!digits(whole) || !digits(fraction)) {
        throw std::runtime_error("timeout must be a number of seconds, not \"" + value + "\"");
    }
    return std::chrono::milliseconds(std::llround(std::stod(value) * 1000));
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
            settings.time_limit = seconds(value);
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
