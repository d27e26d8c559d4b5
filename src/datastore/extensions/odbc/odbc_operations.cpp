// The project's own operations (datastore/operations.h) as the ODBC plug-in
// serves them; every other opcode goes to interface::control.
#include <exception>

#include <datastore/operations.h>

#include "../sqlite/instance_log.h"
#include "odbc_extension.h"
#include "pruning.h"
#include "table_query.h"

namespace vexa::datastore::odbc_plugin {

using sqlite_plugin::log_instance_failure;

int OdbcExtension::control(unsigned short opcode, void const* in, void* out, void* extra) {
    try {
        switch (opcode) {
            case OP_QUERY_TABLE:
                return query_table_operation(in, out);
            case OP_BEGIN_BATCH:
                return begin_batch() ? OPERATION_SUCCESSFULL : OPERATION_UNSUCCESSFULL;
            case OP_COMMIT_BATCH:
                return commit_batch() ? OPERATION_SUCCESSFULL : OPERATION_UNSUCCESSFULL;
            case OP_PRUNE:
                return prune_operation(in, out);
            default:
                return interface::control(opcode, in, out, extra);
        }
    } catch (std::exception const& error) {
        log_instance_failure(instance_name, error.what());
    } catch (...) {
    }
    return OPERATION_UNSUCCESSFULL;
}

int OdbcExtension::query_table_operation(void const* in, void* out) {
    if (in == nullptr || out == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    std::lock_guard<std::mutex> const lock(mutex_);
    try {
        query_table(connection().get(), *static_cast<std::string const*>(in),
                    *static_cast<Table*>(out));
    } catch (std::exception const& error) {
        after_failure(error);
        throw;
    }
    return OPERATION_SUCCESSFULL;
}

int OdbcExtension::prune_operation(void const* in, void* out) {
    if (in == nullptr || out == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    auto const& request = *static_cast<PruneRequest const*>(in);
    std::lock_guard<std::mutex> const lock(mutex_);
    if (!opened_ || (source_.read_only && !request.dry_run) || batch_ == Batch::failed) {
        return OPERATION_UNSUCCESSFULL;
    }
    try {
        *static_cast<std::uint64_t*>(out) = prune(connection().get(), request);
    } catch (std::exception const& error) {
        after_failure(error);
        throw;
    }
    return OPERATION_SUCCESSFULL;
}

void OdbcExtension::set_autocommit(bool on) {
    SQLHDBC const dbc = connection().get();
    SQLULEN const value = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
    check(SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(value), 0),
          SQL_HANDLE_DBC, dbc, "SQL_ATTR_AUTOCOMMIT");
}

bool OdbcExtension::begin_batch() {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (!opened_ || source_.read_only || batch_ != Batch::none) {
        return false;
    }
    set_autocommit(false);
    batch_ = Batch::open;
    return true;
}

bool OdbcExtension::commit_batch() {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (batch_ != Batch::open) {
        bool const had_failed = batch_ == Batch::failed;
        batch_ = Batch::none;
        return !had_failed;
    }
    try {
        SQLHDBC const dbc = connection().get();
        check(SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_COMMIT), SQL_HANDLE_DBC, dbc, "SQLEndTran");
        set_autocommit(true);
        batch_ = Batch::none;
        return true;
    } catch (std::exception const& error) {
        after_failure(error);
    }
    batch_ = Batch::none;
    return false;
}

void OdbcExtension::roll_back_batch(std::string const& reason) noexcept {
    batch_ = Batch::failed;
    if (connection_ != nullptr) {
        SQLHDBC const dbc = connection_->get();
        SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
        SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON),
                          0);
    }
    log_instance_failure(instance_name, "batch rolled back: " + reason);
}

}  // namespace vexa::datastore::odbc_plugin
