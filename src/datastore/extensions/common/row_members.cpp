#include "row_members.h"

#include <datastore/columns.h>
#include <util/str.h>

namespace vexa::datastore::common {

int row_member_of(std::string_view name, std::map<std::string, int> const& fields) {
    for (auto const& [key, member] : fields) {
        if (member >= rowid_member && member <= unique_timestamp_member &&
            str::ascii_iequals(key, name)) {
            return member;
        }
    }
    return -1;
}

}  // namespace vexa::datastore::common
