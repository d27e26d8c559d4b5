#include "node_names.h"

#include <stdexcept>

namespace vexa::datastore::common {

std::string join_node_names(std::vector<std::string> const& names) {
    std::string joined;
    for (std::string const& name : names) {
        if (name.find(',') != std::string::npos) {
            throw std::runtime_error("node name \"" + name +
                                     "\" holds a comma, which separates the stored node names");
        }
        if (&name != &names.front()) {
            joined += ',';
        }
        joined += name;
    }
    return joined;
}

void split_node_names(std::string_view joined, std::vector<std::string>& names) {
    names.clear();
    if (joined.empty()) {
        return;
    }
    for (;;) {
        std::string_view::size_type const comma = joined.find(',');
        names.emplace_back(joined.substr(0, comma));
        if (comma == std::string_view::npos) {
            return;
        }
        joined.remove_prefix(comma + 1);
    }
}

}  // namespace vexa::datastore::common
