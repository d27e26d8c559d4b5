// The project's own operations (datastore/operations.h) as the SQLite
// plug-in serves them.
#include "pruning.h"
#include "sqlite_extension.h"
#include "table_query.h"
#include "time_limit.h"

namespace vexa::datastore::sqlite_plugin {

int SqliteExtension::query_table_operation(std::string const& sql, Table& out) {
    std::lock_guard<FairMutex> const lock(mutex_);
    if (db_ == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    end_deferred_state();
    within_time_limit(db_.get(), time_limit(), [&] { query_table(db_.get(), sql, out); });
    return OPERATION_SUCCESSFULL;
}

bool SqliteExtension::begin_batch() {
    std::lock_guard<FairMutex> const lock(mutex_);
    if (db_ == nullptr || read_only_ || !batch_.begin(db_.get())) {
        return false;
    }
    if (has_state_) {
        try {
            deferred_state_.start(db_.get());
        } catch (std::exception const&) {
            // The triggers keep the state, as they do outside a batch.
        }
    }
    return true;
}

bool SqliteExtension::commit_batch() {
    std::lock_guard<FairMutex> const lock(mutex_);
    return commit_open_batch();
}

int SqliteExtension::prune_operation(PruneRequest const& request, std::uint64_t& removed) {
    {
        std::lock_guard<FairMutex> const lock(mutex_);
        if (db_ == nullptr || (read_only_ && !request.dry_run)) {
            return OPERATION_UNSUCCESSFULL;
        }
        end_deferred_state();
    }
    removed = prune_in_chunks(mutex_, db_, path_, request, time_limit());
    return OPERATION_SUCCESSFULL;
}

}  // namespace vexa::datastore::sqlite_plugin
