// Which Row member a result column fills: the column's name looked up among
// the keys of the field map, ASCII case-insensitively, as SQL names compare
// (the view's select list spells "Version"; some servers answer in lower case).
#ifndef VEXA_SQLITE_PLUGIN_ROW_MEMBERS_H_
#define VEXA_SQLITE_PLUGIN_ROW_MEMBERS_H_

#include <map>
#include <string>
#include <string_view>

namespace vexa::datastore::sqlite_plugin {

// Row members by their index in column_index_map.
enum RowMember : int {
    rowid_member = 0,
    provider_member,
    hostname_member,
    num_nodes_member,
    node_names_member,
    exit_status_member,
    timestamp_member,
    duration_member,
    encoding_member,
    stdout_member,
    stderr_member,
    option_id_member,
    version_member,
    username_member,
    unique_timestamp_member,
};

// The member that column `name` fills, or -1 when no key of `fields` names
// it or the key's index is no Row member.
int row_member_of(std::string_view name, std::map<std::string, int> const& fields);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_ROW_MEMBERS_H_
