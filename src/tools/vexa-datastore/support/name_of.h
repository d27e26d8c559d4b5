// Enumerators by the names the library's tables give them.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_NAME_OF_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_NAME_OF_H_

#include <string>

namespace vexa::tool {

// The name under which `names` (a name-to-enumerator table such as
// datastore::encoding_map) holds `value`, or its number when none does.
template <class Table, class Value>
std::string name_of(Table const& names, Value value) {
    for (auto const& [name, v] : names) {
        if (v == value) {
            return name;
        }
    }
    return std::to_string(value);
}

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_NAME_OF_H_
