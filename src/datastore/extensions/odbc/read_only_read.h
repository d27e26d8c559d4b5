// A free read that the database system itself keeps from changing
// anything, whatever the SQL text says.
#ifndef VEXA_ODBC_PLUGIN_READ_ONLY_READ_H_
#define VEXA_ODBC_PLUGIN_READ_ONLY_READ_H_

#include "dialect.h"
#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// From construction to destruction, the statements of `dbc` cannot write.
// PostgreSQL: a READ ONLY transaction rolled back at the end, or, inside an
// open transaction (a batch), a savepoint made read-only and rolled back
// to, so that the batch's own rows stay visible and stay. Being
// transaction-level, the setting never outlives the read, also where a
// pooler hands each transaction to another server session. SQLite:
// PRAGMA query_only, off again at the end unless the instance is
// read-only. Other systems: nothing is set.
//
// Not thread-safe: the caller holds the connection's lock throughout. A
// statement of `dbc` must be freed before the scope ends.
class ReadOnlyRead {
  public:
    // Throws OdbcError when the setting cannot be made (nothing left set).
    ReadOnlyRead(SQLHDBC dbc, Dbms dbms, bool in_transaction, bool read_only_instance);
    // Undoes the setting; a failure (a lost connection) is left to the
    // caller's handling of the read's own failure.
    ~ReadOnlyRead();
    ReadOnlyRead(ReadOnlyRead const&) = delete;
    ReadOnlyRead& operator=(ReadOnlyRead const&) = delete;

  private:
    SQLHDBC dbc_;
    Dbms dbms_;
    bool in_transaction_;
    bool read_only_instance_;
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_READ_ONLY_READ_H_
