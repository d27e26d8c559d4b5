#include "instance_log.h"

#include <util/log.h>

#include "last_failure.h"

namespace vexa::datastore::common {

void log_instance_failure(std::string const& instance_name, std::string const& text) noexcept {
    note_failure(text);  // also the reason OP_LAST_FAILURE gives for the call
    try {
        log::ErrorLog(4).stream() << "Datastore \"" << instance_name << "\": " << text;
    } catch (...) {
    }
}

}  // namespace vexa::datastore::common
