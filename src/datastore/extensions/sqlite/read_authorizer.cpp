#include "read_authorizer.h"

#include <initializer_list>

namespace vexa::datastore::sqlite_plugin {

namespace {

bool named(char const* name, std::initializer_list<char const*> names) {
    for (char const* candidate : names) {
        if (sqlite3_stricmp(name, candidate) == 0) {
            return true;
        }
    }
    return false;
}

// A PRAGMA without a value reads its setting, but for those that act.
// With a value it sets one, but for those whose argument names what to read.
bool reads_only(char const* pragma, char const* value) {
    if (value == nullptr) {
        return !named(pragma,
                      {"optimize", "wal_checkpoint", "shrink_memory", "incremental_vacuum"});
    }
    return named(pragma, {"table_info", "table_xinfo", "table_list", "index_info", "index_xinfo",
                          "index_list", "foreign_key_list", "foreign_key_check", "integrity_check",
                          "quick_check"});
}

int authorize(void* /*unused*/, int action, char const* first, char const* second,
              char const* /*database*/, char const* /*trigger*/) {
    switch (action) {
        case SQLITE_ATTACH:
        case SQLITE_DETACH:
        case SQLITE_TRANSACTION:
        case SQLITE_SAVEPOINT:
            return SQLITE_DENY;
        case SQLITE_PRAGMA:
            return reads_only(first, second) ? SQLITE_OK : SQLITE_DENY;
        default:
            return SQLITE_OK;
    }
}

}  // namespace

ReadAuthorizer::ReadAuthorizer(::sqlite3* db) : db_(db) {
    sqlite3_set_authorizer(db_, authorize, nullptr);
}

ReadAuthorizer::~ReadAuthorizer() { sqlite3_set_authorizer(db_, nullptr, nullptr); }

}  // namespace vexa::datastore::sqlite_plugin
