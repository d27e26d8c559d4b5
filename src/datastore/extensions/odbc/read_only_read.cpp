#include "read_only_read.h"

namespace vexa::datastore::odbc_plugin {

namespace {

constexpr char savepoint[] = "vexa_free_read";

// Runs `sql` on `dbc` for the undoing of a read: a failure stays unreported,
// the read's own failure (or the next call) says what went wrong.
void run_quietly(SQLHDBC dbc, std::string const& sql) noexcept {
    try {
        execute(dbc, sql);
    } catch (...) {
    }
}

}  // namespace

ReadOnlyRead::ReadOnlyRead(SQLHDBC dbc, Dbms dbms, bool in_transaction, bool read_only_instance)
    : dbc_(dbc),
      dbms_(dbms),
      in_transaction_(in_transaction),
      read_only_instance_(read_only_instance) {
    if (dbms_ == Dbms::sqlite) {
        execute(dbc_, "PRAGMA query_only = ON");
    } else if (dbms_ == Dbms::postgresql && in_transaction_) {
        execute(dbc_, std::string("SAVEPOINT ") + savepoint);
        try {
            execute(dbc_, "SET LOCAL transaction_read_only = on");
        } catch (...) {
            run_quietly(dbc_, std::string("ROLLBACK TO SAVEPOINT ") + savepoint);
            throw;
        }
    } else if (dbms_ == Dbms::postgresql) {
        set_autocommit(dbc_, false);
        try {
            execute(dbc_, "SET TRANSACTION READ ONLY");
        } catch (...) {
            SQLEndTran(SQL_HANDLE_DBC, dbc_, SQL_ROLLBACK);
            set_autocommit(dbc_, true);
            throw;
        }
    }
}

ReadOnlyRead::~ReadOnlyRead() {
    if (dbms_ == Dbms::sqlite) {
        if (!read_only_instance_) {
            run_quietly(dbc_, "PRAGMA query_only = OFF");
        }
    } else if (dbms_ == Dbms::postgresql && in_transaction_) {
        run_quietly(dbc_, std::string("ROLLBACK TO SAVEPOINT ") + savepoint);
        run_quietly(dbc_, std::string("RELEASE SAVEPOINT ") + savepoint);
    } else if (dbms_ == Dbms::postgresql) {
        SQLEndTran(SQL_HANDLE_DBC, dbc_, SQL_ROLLBACK);
        SQLSetConnectAttr(dbc_, SQL_ATTR_AUTOCOMMIT,
                          reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), 0);
    }
}

}  // namespace vexa::datastore::odbc_plugin
