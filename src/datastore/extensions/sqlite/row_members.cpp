#include "row_members.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool same_name(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::string_view::size_type i = 0; i < a.size(); ++i) {
        if (ascii_lower(a[i]) != ascii_lower(b[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace

int row_member_of(std::string_view name, std::map<std::string, int> const& fields) {
    for (auto const& [key, member] : fields) {
        if (member >= rowid_member && member <= unique_timestamp_member && same_name(key, name)) {
            return member;
        }
    }
    return -1;
}

}  // namespace vexa::datastore::sqlite_plugin
