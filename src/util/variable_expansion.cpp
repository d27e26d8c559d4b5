#include "variable_expansion.h"

#include <cctype>
#include <cstdlib>
#include <stdexcept>

namespace vexa::util {

namespace {

bool starts_name(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_'; }
bool continues_name(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

std::string value_of(std::string const& name, std::string const& path, UnsetVariable unset) {
    char const* value = std::getenv(name.c_str());
    if (value == nullptr || *value == '\0') {
        if (unset == UnsetVariable::expands_to_nothing) {
            return "";
        }
        throw std::runtime_error("cannot expand \"" + path + "\": variable " + name + " is " +
                                 (value == nullptr ? "not set" : "empty"));
    }
    return value;
}

}  // namespace

std::string expand_variables(std::string const& path, UnsetVariable unset) {
    std::string expanded;
    std::string::size_type i = 0;
    if (!path.empty() && path[0] == '~' && (path.size() == 1 || path[1] == '/')) {
        expanded = value_of("HOME", path, unset);
        i = 1;
    }
    while (i < path.size()) {
        bool const braced = path.compare(i, 2, "${") == 0;
        std::string::size_type const start = i + (braced ? 2 : 1);
        std::string::size_type end = start;
        if (path[i] == '$' && start < path.size() && starts_name(path[start])) {
            while (end < path.size() && continues_name(path[end])) {
                ++end;
            }
        }
        if (end == start || (braced && (end == path.size() || path[end] != '}'))) {
            expanded += path[i++];  // not a variable: kept as written
            continue;
        }
        expanded += value_of(path.substr(start, end - start), path, unset);
        i = end + (braced ? 1 : 0);
    }
    return expanded;
}

}  // namespace vexa::util
