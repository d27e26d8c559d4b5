#include <datastore/source_parameters.h>

#include <optional>

#include <datastore/extension.h>
#include <datastore/vocabulary.h>
#include <util/str.h>

namespace vexa::datastore {

namespace {

std::vector<std::string> const sqlite_keys{"source", "read_only", "synchronous", "timeout"};
std::vector<std::string> const odbc_keys{"read_only", "timeout"};

SourceParametersError malformed(std::string const& parameters) {
    return SourceParametersError("malformed source parameters \"" + parameters + "\"");
}

// Refuses `value` of `key` unless it is `first` or `second`; true for `second`.
bool choice(std::string const& key, std::string const& value, char const* first,
            char const* second) {
    if (value != first && value != second) {
        throw SourceParametersError(key + " must be " + first + " or " + second + ", not \"" +
                                    value + "\"");
    }
    return value == second;
}

// When `text` ends in "|KEY=VALUE", removes that item from it and returns
// VALUE without its blanks. Throws for a last item that is neither a
// read_only nor a timeout item: `parameters` is malformed.
std::optional<std::string> last_item(std::string& text, char const* key,
                                     std::string const& parameters) {
    std::string::size_type const bar = text.rfind('|');
    if (bar == std::string::npos) {
        return std::nullopt;
    }
    std::string const item = text.substr(bar + 1);
    std::string::size_type const equals = item.find('=');
    std::string const name = str::stripws(item.substr(0, equals));
    if (name != key) {
        if (equals == std::string::npos) {
            throw malformed(parameters);
        }
        if (name != "read_only" && name != "timeout") {
            throw SourceParametersError(malformed(parameters).what(), name, odbc_keys);
        }
        return std::nullopt;
    }
    text.erase(bar);
    return str::stripws(item.substr(equals + 1));
}

}  // namespace

SourceParametersError::SourceParametersError(std::string const& what, std::string unknown_key,
                                             std::vector<std::string> known_keys)
    : std::runtime_error(what),
      unknown_key_(std::move(unknown_key)),
      known_keys_(std::move(known_keys)) {}

SqliteSourceParameters read_sqlite_source_parameters(std::string const& parameters) {
    SqliteSourceParameters read;
    read.source = DEFAULT_DATA_SOURCE;
    // The shared reader gives the source as every tool reads it; the keys and
    // values it passes over are checked here.
    if (!parse_sqlite_params(parameters, read.source, read.read_only)) {
        throw malformed(parameters);
    }
    // Every part is a key=value pair: the shared reader returned true.
    for (std::string const& part : str::split(parameters, '|', true)) {
        std::vector<std::string> const pieces = str::split(part, '=', true);
        std::string const key = str::stripws(pieces[0]);
        std::string const value = str::stripws(pieces[1]);
        if (key == "read_only") {
            choice(key, value, "false", "true");
        } else if (key == "synchronous") {
            read.full_sync = choice(key, value, "normal", "full");
        } else if (key == "timeout") {
            read.time_limit = read_timeout_seconds(value);
        } else if (key != "source") {
            throw SourceParametersError(
                "unknown key \"" + key + "\" in source parameters \"" + parameters + "\"", key,
                sqlite_keys);
        }
    }
    return read;
}

OdbcSourceParameters read_odbc_source_parameters(std::string const& parameters) {
    OdbcSourceParameters read;
    std::string text = parameters;
    if (auto value = last_item(text, "timeout", parameters)) {
        read.time_limit = read_timeout_seconds(*value);
    }
    if (auto value = last_item(text, "read_only", parameters)) {
        // Anything else, "TRUE" included, would silently open a writable instance.
        read.read_only = choice("read_only", *value, "false", "true");
    }
    // "|timeout=" before "|read_only=" would otherwise end up in the target.
    std::string::size_type const bar = text.rfind('|');
    std::string const before = bar == std::string::npos ? "" : text.substr(bar + 1);
    std::string const misplaced = str::stripws(before.substr(0, before.find('=')));
    if (misplaced == "read_only" || misplaced == "timeout") {
        throw malformed(parameters);
    }
    read.target = str::stripws(text);
    if (read.target.empty()) {
        read.target = odbc_default_dsn;
    }
    return read;
}

std::chrono::milliseconds read_timeout_seconds(std::string const& seconds) {
    std::string::size_type const point = seconds.find('.');
    std::string const whole = seconds.substr(0, point);
    std::string const fraction = point == std::string::npos ? "" : seconds.substr(point + 1);
    auto const digits = [](std::string const& part) {
        return part.find_first_not_of("0123456789") == std::string::npos;
    };
    // Nine digits of seconds are thirty years: more is a mistake.
    if (whole.empty() || whole.size() > 9 || !digits(whole) ||
        (point != std::string::npos && (fraction.empty() || !digits(fraction)))) {
        throw SourceParametersError("timeout must be seconds such as 5 or 0.25, not \"" + seconds +
                                    "\"");
    }
    std::string const milli = (fraction + "000").substr(0, 3);
    bool const rest =
        fraction.size() > 3 && fraction.find_first_not_of('0', 3) != std::string::npos;
    return std::chrono::milliseconds(std::stoll(whole) * 1000 + std::stoll(milli) + (rest ? 1 : 0));
}

}  // namespace vexa::datastore
