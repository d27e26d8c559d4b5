#include "batch.h"

#include "call_deadline.h"
#include "instance_log.h"

namespace vexa::datastore::odbc_plugin {

void Batch::begin(SQLHDBC dbc) {
    set_autocommit(dbc, false);
    mark_running();
}

void Batch::commit(SQLHDBC dbc) {
    WatchedConnection const watched(dbc);  // a commit has no statement to cancel
    check(SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_COMMIT), SQL_HANDLE_DBC, dbc, "SQLEndTran");
    set_autocommit(dbc, true);
    mark_ended();
}

void Batch::roll_back(SQLHDBC dbc, std::string const& name, std::string const& reason) noexcept {
    mark_failed();
    if (dbc != SQL_NULL_HDBC) {
        SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
        SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON),
                          0);
    }
    common::log_instance_failure(name, "batch rolled back: " + reason);
}

}  // namespace vexa::datastore::odbc_plugin
