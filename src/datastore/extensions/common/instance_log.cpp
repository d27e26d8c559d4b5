#include "instance_log.h"

#include <util/log.h>

namespace vexa::datastore::common {

void log_instance_failure(std::string const& instance_name, std::string const& text) noexcept {
    try {
        log::ErrorLog(4).stream() << "Datastore \"" << instance_name << "\": " << text;
    } catch (...) {
    }
}

}  // namespace vexa::datastore::common
