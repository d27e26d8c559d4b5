// What a free read through select() may do besides reading.
#ifndef VEXA_SQLITE_PLUGIN_READ_AUTHORIZER_H_
#define VEXA_SQLITE_PLUGIN_READ_AUTHORIZER_H_

#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

// Installs, for the life of the object, an authorizer on `db` that denies
// what a read-only statement may still do to the connection or the file
// system: ATTACH (which creates files), DETACH, transactions and savepoints
// (which would hold the connection's inserts), and PRAGMAs that change a
// setting or act (a PRAGMA that only reads, such as table_info, passes).
class ReadAuthorizer {
  public:
    explicit ReadAuthorizer(::sqlite3* db);
    ~ReadAuthorizer();
    ReadAuthorizer(ReadAuthorizer const&) = delete;
    ReadAuthorizer& operator=(ReadAuthorizer const&) = delete;

  private:
    ::sqlite3* db_;
};

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_READ_AUTHORIZER_H_
