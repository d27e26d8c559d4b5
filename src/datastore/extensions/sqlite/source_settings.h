// What an instance's source_parameters ask of the SQLite plug-in.
#ifndef VEXA_SQLITE_PLUGIN_SOURCE_SETTINGS_H_
#define VEXA_SQLITE_PLUGIN_SOURCE_SETTINGS_H_

#include <chrono>
#include <string>

namespace vexa::datastore::sqlite_plugin {

struct SourceSettings {
    std::string path;  // expanded, never empty
    bool read_only = false;
    // Flush the write-ahead log at every commit (synchronous=full), so that
    // not even the last commits can be lost on a power failure.
    bool full_sync = false;
    // The longest any call may run (timeout=SECONDS); zero: no limit.
    std::chrono::milliseconds time_limit{0};
};

// Reads the parameters as read_sqlite_source_parameters() does
// (<datastore/source_parameters.h>) and expands the path. Throws
// std::runtime_error with the reason for parameters it refuses or a path
// that does not expand.
SourceSettings read_source_settings(std::string const& parameters);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_SOURCE_SETTINGS_H_
