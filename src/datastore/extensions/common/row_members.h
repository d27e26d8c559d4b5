// Which Row member a result column fills: the column's name looked up among
// the keys of the field map, ASCII case-insensitively, as SQL names compare
// (the view's select list spells "Version"; some servers answer in lower case).
#ifndef VEXA_PLUGIN_COMMON_ROW_MEMBERS_H_
#define VEXA_PLUGIN_COMMON_ROW_MEMBERS_H_

#include <map>
#include <string>
#include <string_view>

namespace vexa::datastore::common {

// The member (a RowMember) that column `name` fills, or -1 when no key of
// `fields` names it or the key's index is no Row member.
int row_member_of(std::string_view name, std::map<std::string, int> const& fields);

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_ROW_MEMBERS_H_
