// The project's own operations (datastore/operations.h) as the SQLite
// plug-in serves them; every other opcode goes to interface::control.
#include <exception>

#include <datastore/operations.h>

#include "instance_log.h"
#include "pruning.h"
#include "sqlite_extension.h"
#include "table_query.h"

namespace vexa::datastore::sqlite_plugin {

int SqliteExtension::control(unsigned short opcode, void const* in, void* out, void* extra) {
    try {
        switch (opcode) {
            case OP_QUERY_TABLE:
                return query_table_operation(in, out);
            case OP_BEGIN_BATCH: {
                std::lock_guard<std::mutex> const lock(mutex_);
                bool const begun = db_ != nullptr && !read_only_ && batch_.begin(db_.get());
                return begun ? OPERATION_SUCCESSFULL : OPERATION_UNSUCCESSFULL;
            }
            case OP_COMMIT_BATCH: {
                std::lock_guard<std::mutex> const lock(mutex_);
                return batch_.commit(db_.get(), instance_name) ? OPERATION_SUCCESSFULL
                                                               : OPERATION_UNSUCCESSFULL;
            }
            case OP_PRUNE:
                return prune_operation(in, out);
            case OP_INSERT:
                return insert_operation(in, out, extra);
            default:
                return interface::control(opcode, in, out, extra);
        }
    } catch (std::exception const& error) {
        log_instance_failure(instance_name, error.what());
    } catch (...) {
    }
    return OPERATION_UNSUCCESSFULL;
}

int SqliteExtension::query_table_operation(void const* in, void* out) {
    if (in == nullptr || out == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    std::lock_guard<std::mutex> const lock(mutex_);
    if (db_ == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    query_table(db_.get(), *static_cast<std::string const*>(in), *static_cast<Table*>(out));
    return OPERATION_SUCCESSFULL;
}

int SqliteExtension::prune_operation(void const* in, void* out) {
    if (in == nullptr || out == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    auto const& request = *static_cast<PruneRequest const*>(in);
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        if (db_ == nullptr || (read_only_ && !request.dry_run)) {
            return OPERATION_UNSUCCESSFULL;
        }
    }
    *static_cast<std::uint64_t*>(out) = prune_in_chunks(mutex_, db_, request);
    return OPERATION_SUCCESSFULL;
}

int SqliteExtension::insert_operation(void const* in, void* out, void* extra) {
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        if (batch_.has_failed()) {
            return OPERATION_UNSUCCESSFULL;  // the batch is lost; nothing more goes into it
        }
    }
    // insert() takes the lock itself.
    int const result = interface::control(OP_INSERT, in, out, extra);
    if (result != OPERATION_SUCCESSFULL) {
        std::lock_guard<std::mutex> const lock(mutex_);
        if (batch_.is_open() && !batch_.has_failed()) {
            batch_.roll_back(db_.get(), instance_name,
                             std::string("an insert failed: ") + sqlite3_errmsg(db_.get()));
        }
    }
    return result;
}

}  // namespace vexa::datastore::sqlite_plugin
