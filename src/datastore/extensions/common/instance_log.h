// Messages of the project's own operations about one instance.
#ifndef VEXA_PLUGIN_COMMON_INSTANCE_LOG_H_
#define VEXA_PLUGIN_COMMON_INSTANCE_LOG_H_

#include <string>

namespace vexa::datastore::common {

// Logs `Datastore "NAME": TEXT` at level 4 and notes TEXT as the reason the
// call under way failed (see note_failure). Never throws: it runs on paths
// that must not fail, such as a rollback.
void log_instance_failure(std::string const& instance_name, std::string const& text) noexcept;
}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_INSTANCE_LOG_H_
