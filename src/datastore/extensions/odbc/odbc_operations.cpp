// The project's own operations (datastore/operations.h) as the ODBC plug-in
// serves them.
#include <exception>

#include "last_failure.h"
#include "odbc_extension.h"
#include "pruning.h"
#include "table_query.h"

namespace vexa::datastore::odbc_plugin {

int OdbcExtension::query_table_operation(std::string const& sql, Table& out) {
    std::lock_guard<std::mutex> const lock(mutex_);
    recovering([&] {
        ReadOnlyRead const read_only = read_only_read();
        query_table(connection().get(), sql, out);
    });
    return OPERATION_SUCCESSFULL;
}

int OdbcExtension::prune_operation(PruneRequest const& request, std::uint64_t& removed) {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (!opened_ || (source_.read_only && !request.dry_run) || batch_.has_failed()) {
        return OPERATION_UNSUCCESSFULL;
    }
    recovering([&] { removed = prune(connection().get(), request); });
    return OPERATION_SUCCESSFULL;
}

bool OdbcExtension::begin_batch() {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (!opened_ || source_.read_only || batch_.is_open()) {
        return false;
    }
    batch_.begin(connection().get());
    return true;
}

bool OdbcExtension::commit_batch() {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (!batch_.is_running()) {
        bool const had_failed = batch_.has_failed();
        batch_.end();
        return !had_failed;
    }
    try {
        recovering([&] { batch_.commit(connection().get()); });
        return true;
    } catch (std::exception const& error) {
        common::note_failure(error.what());  // saying it timed out, when it did
    }
    batch_.end();
    return false;
}

}  // namespace vexa::datastore::odbc_plugin
