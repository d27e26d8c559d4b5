#include "plugin_extension.h"

#include <exception>

#include "instance_log.h"
#include "statements.h"

namespace vexa::datastore::common {

namespace {

// Calls `operation` of `plugin` with the records behind control()'s `in`
// and `out`, cast to the types it takes; OPERATION_UNSUCCESSFULL without a
// call when either is null.
template <typename In, typename Out>
int with_records(void const* in, void* out, PluginExtension* plugin,
                 int (PluginExtension::*operation)(In const&, Out&)) {
    if (in == nullptr || out == nullptr) {
        return DataStoreExtension::OPERATION_UNSUCCESSFULL;
    }
    return (plugin->*operation)(*static_cast<In const*>(in), *static_cast<Out*>(out));
}

int result_of(bool succeeded) {
    return succeeded ? DataStoreExtension::OPERATION_SUCCESSFULL
                     : DataStoreExtension::OPERATION_UNSUCCESSFULL;
}

}  // namespace

PluginExtension::PluginExtension() { hosts_query = composed_hosts_query(); }

int PluginExtension::control(unsigned short opcode, void const* in, void* out, void* extra) {
    if (opcode == OP_LAST_FAILURE) {
        if (out == nullptr) {
            return OPERATION_UNSUCCESSFULL;
        }
        try {
            *static_cast<std::string*>(out) = last_failure_.reason();
            return OPERATION_SUCCESSFULL;
        } catch (...) {
            return OPERATION_UNSUCCESSFULL;
        }
    }
    last_failure_.begin_call();
    int const result = dispatch(opcode, in, out, extra);
    if (result == OPERATION_UNSUCCESSFULL) {
        std::string refusal;
        try {
            refusal = "refused by " + describe();
        } catch (...) {
        }
        last_failure_.end_failed_call(refusal);
    }
    return result;
}

int PluginExtension::dispatch(unsigned short opcode, void const* in, void* out, void* extra) {
    try {
        switch (opcode) {
            case OP_QUERY_TABLE:
                return with_records(in, out, this, &PluginExtension::query_table_operation);
            case OP_STREAM_QUERY:
                return stream_query(in, out);
            case OP_BEGIN_BATCH:
                return result_of(begin_batch());
            case OP_COMMIT_BATCH:
                return result_of(commit_batch());
            case OP_PRUNE:
                return with_records(in, out, this, &PluginExtension::prune_operation);
            case OP_FAILING_SINCE:
                return with_records(in, out, this, &PluginExtension::failing_since_operation);
            case OP_INSERT:
                return insert_operation(in, out, extra);
            case OP_SET_TIME_LIMIT:
                if (in == nullptr) {
                    return OPERATION_UNSUCCESSFULL;
                }
                set_time_limit(*static_cast<std::chrono::milliseconds const*>(in));
                return OPERATION_SUCCESSFULL;
            default:
                return interface::control(opcode, in, out, extra);
        }
    } catch (std::exception const& error) {
        log_instance_failure(instance_name, error.what());
        note_failure(error.what());
    } catch (...) {
    }
    return OPERATION_UNSUCCESSFULL;
}

int PluginExtension::stream_query(void const* in, void* out) {
    if (in == nullptr || out == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    auto& result = *static_cast<StreamResult*>(out);
    try {
        return stream_query_operation(*static_cast<StreamRequest const*>(in), result);
    } catch (std::exception const& error) {
        result.failure = error.what();
        throw;  // control() logs it
    }
}

int PluginExtension::insert_operation(void const* in, void* out, void* extra) {
    return interface::control(OP_INSERT, in, out, extra);
}

}  // namespace vexa::datastore::common
