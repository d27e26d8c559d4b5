#include "source_settings.h"

#include <iterator>
#include <optional>
#include <stdexcept>
#include <vector>

#include <odbcinst.h>

#include <datastore/vocabulary.h>
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

// psqlODBC refuses every statement but SELECT on a read-only instance.
constexpr Default read_only_default{"ReadOnly", "1"};

// When `text` ends in "|KEY=VALUE", removes that item from it and returns
// VALUE without its blanks. Throws for a last item that is neither a
// read_only nor a timeout item: `params` is malformed.
std::optional<std::string> last_item(std::string& text, char const* key,
                                     std::string const& params) {
    std::string::size_type const bar = text.rfind('|');
    if (bar == std::string::npos) {
        return std::nullopt;
    }
    std::string const item = text.substr(bar + 1);
    std::string::size_type const equals = item.find('=');
    std::string const name = str::stripws(item.substr(0, equals));
    if (name != key) {
        if (equals == std::string::npos || (name != "read_only" && name != "timeout")) {
            throw std::runtime_error("malformed source parameters \"" + params + "\"");
        }
        return std::nullopt;
    }
    text.erase(bar);
    return str::stripws(item.substr(equals + 1));
}

// SECONDS as milliseconds, a fraction of a millisecond counted whole so
// that a limit is never rounded down to none.
std::chrono::milliseconds timeout_of(std::string const& seconds) {
    std::string::size_type const point = seconds.find('.');
    std::string const whole = seconds.substr(0, point);
    std::string const fraction = point == std::string::npos ? "" : seconds.substr(point + 1);
    auto const digits = [](std::string const& part) {
        return part.find_first_not_of("0123456789") == std::string::npos;
    };
    // Nine digits of seconds are thirty years: more is a mistake.
    if (whole.empty() || whole.size() > 9 || !digits(whole) ||
        (point != std::string::npos && (fraction.empty() || !digits(fraction)))) {
        throw std::runtime_error("timeout must be seconds such as 5 or 0.25, not \"" + seconds +
                                 "\"");
    }
    std::string const milli = (fraction + "000").substr(0, 3);
    bool const rest =
        fraction.size() > 3 && fraction.find_first_not_of('0', 3) != std::string::npos;
    return std::chrono::milliseconds(std::stoll(whole) * 1000 + std::stoll(milli) + (rest ? 1 : 0));
}

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
    std::vector<Default> defaults(std::begin(driver_defaults), std::end(driver_defaults));
    if (read_only) {
        defaults.push_back(read_only_default);
    }
    for (Default const& setting : defaults) {
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
    SourceSettings source;
    std::string text = params;
    if (auto value = last_item(text, "timeout", params)) {
        source.timeout = timeout_of(*value);
    }
    if (auto value = last_item(text, "read_only", params)) {
        // Anything else, "TRUE" included, would silently open a writable instance.
        if (*value != "false" && *value != "true") {
            throw std::runtime_error("read_only must be false or true, not \"" + *value + "\"");
        }
        source.read_only = *value == "true";
    }
    // "|timeout=" before "|read_only=" would otherwise end up in the target.
    std::string::size_type const bar = text.rfind('|');
    std::string const before = bar == std::string::npos ? "" : text.substr(bar + 1);
    std::string const misplaced = str::stripws(before.substr(0, before.find('=')));
    if (misplaced == "read_only" || misplaced == "timeout") {
        throw std::runtime_error("malformed source parameters \"" + params + "\"");
    }
    source.target = str::stripws(text);
    if (source.target.empty()) {
        source.target = odbc_default_dsn;
    }
    return source;
}

}  // namespace vexa::datastore::odbc_plugin
