// The stored form of a node list: one text, the names joined with ",".
// An empty text holds no names, so a list of one empty name reads back empty.
#ifndef VEXA_PLUGIN_COMMON_NODE_NAMES_H_
#define VEXA_PLUGIN_COMMON_NODE_NAMES_H_

#include <string>
#include <string_view>
#include <vector>

namespace vexa::datastore::common {

// join_node_names({"n1", "n2"}) -> "n1,n2". Throws std::runtime_error for a
// name holding a comma, which would come back as two names.
std::string join_node_names(std::vector<std::string> const& names);

// Replaces `names` with the pieces of `joined`: "n1,n2" -> {"n1", "n2"}.
void split_node_names(std::string_view joined, std::vector<std::string>& names);

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_NODE_NAMES_H_
