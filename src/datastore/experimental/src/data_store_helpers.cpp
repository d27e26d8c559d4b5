// Free helpers for extensions and callers: list membership and difference,
// and the reader of an SQLite instance's source_parameters.
#include <datastore/extension.h>

#include <algorithm>
#include <iterator>

#include <util/str.h>

namespace {

// `value` without one pair of enclosing double quotes, so that a quoted
// path such as "$HOME/x.db" reads as written.
std::string unquoted(std::string value) {
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        return value.substr(1, value.size() - 2);
    }
    return value;
}

}  // namespace

bool in(std::vector<std::string> const& set, std::string const& item) {
    return std::find(set.begin(), set.end(), item) != set.end();
}

bool in(std::vector<std::string> const& set, std::vector<std::string> const& items) {
    return std::all_of(items.begin(), items.end(),
                       [&set](std::string const& item) { return in(set, item); });
}

std::vector<std::string> prune(std::vector<std::string> const& from,
                               std::vector<std::string> const& remove) {
    std::vector<std::string> kept;
    std::copy_if(from.begin(), from.end(), std::back_inserter(kept),
                 [&remove](std::string const& item) { return !in(remove, item); });
    return kept;
}

bool parse_sqlite_params(std::string const& params, std::string& source, bool& read_only) {
    for (std::string const& part : vexa::str::split(params, '|', true)) {
        std::vector<std::string> const pieces = vexa::str::split(part, '=', true);
        if (pieces.size() != 2) {
            return false;
        }
        std::string const key = vexa::str::stripws(pieces[0]);
        std::string const value = vexa::str::stripws(pieces[1]);
        if (key == "source") {
            source = unquoted(value);
        } else if (key == "read_only") {
            read_only = value == "true";
        }
    }
    return true;
}
