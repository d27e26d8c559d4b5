// A batch of the project's own operations on one connection: autocommit off
// around any number of inserts.
#ifndef VEXA_ODBC_PLUGIN_BATCH_H_
#define VEXA_ODBC_PLUGIN_BATCH_H_

#include <string>

#include "batch_state.h"
#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// The batch of one connection, autocommit switched off. Not thread-safe:
// the extension holds its lock around every call.
class Batch : public common::BatchState {
  public:
    // Switches autocommit off on `dbc`, so that the inserts until commit()
    // form one transaction. Throws OdbcError, the batch not begun.
    void begin(SQLHDBC dbc);
    // Commits the running batch on `dbc`, switches autocommit on again and
    // ends the batch. Throws OdbcError, the batch still running.
    void commit(SQLHDBC dbc);
    // Ends the batch whatever its state.
    void end() { mark_ended(); }

    // Rolls the running batch back on `dbc` (none when the connection is
    // gone) after `reason` and logs it for the instance `name`; the batch
    // stays open, failed, until end().
    void roll_back(SQLHDBC dbc, std::string const& name, std::string const& reason) noexcept;
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_BATCH_H_
