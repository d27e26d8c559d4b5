#include "operation_messages.h"

#include <datastore/extension.h>
#include <util/log.h>

namespace vexa::datastore::detail {

void log_operation_result(int result, unsigned short opcode, std::string const& name) {
    if (result == DataStoreExtension::OPERATION_SUCCESSFULL) {
        return;
    }
    log::ErrorLog message(7);
    message.stream() << "Operation code " << opcode;
    if (result == DataStoreExtension::UNSUPPORTED_OPERATION) {
        message.stream() << " unsupported for " << name;
    } else if (result == DataStoreExtension::OPERATION_UNSUCCESSFULL) {
        message.stream() << " failed for " << name;
    } else {
        // The name and "error code" run together; tools match this text as it is.
        message.stream() << " failed for " << name << "error code " << result;
    }
}

}  // namespace vexa::datastore::detail
