// Provider, host and datastore names: how messages list them, and which of
// them the library can use. It composes SQL with provider and host names
// pasted in between single quotes, so a name holding one would change the
// statement; the tool keeps such names away from it.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_NAMES_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_NAMES_H_

#include <string>
#include <vector>

namespace vexa::tool {

// {"a", "b"} -> "\"a\", \"b\"".
inline std::string quoted_list(std::vector<std::string> const& names) {
    std::string text;
    for (auto const& name : names) {
        text += (text.empty() ? "\"" : ", \"") + name + "\"";
    }
    return text;
}

// "" when `name` can be handed to the library, else why not.
inline std::string quote_problem(std::string const& name) {
    return name.find('\'') == std::string::npos
               ? ""
               : "a name must not hold a single quote (the datastores' queries cannot carry it)";
}

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_NAMES_H_
