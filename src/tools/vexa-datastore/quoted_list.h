// Names in messages.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_QUOTED_LIST_H_
#define VEXA_TOOLS_VEXA_DATASTORE_QUOTED_LIST_H_

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

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_QUOTED_LIST_H_
