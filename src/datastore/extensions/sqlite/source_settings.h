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

// Reads "source=PATH|read_only=true|false|synchronous=normal|full|timeout=
// SECONDS" (seconds as digits, a fraction allowed: "2", "0.5"), items in
// any order, each optional (the source defaults to DEFAULT_DATA_SOURCE), and
// expands the path. Throws std::runtime_error with the reason for a text that
// is not such a list, an unknown key (a misspelt key must not quietly open
// the default file), a value other than those above, or a path that does not
// expand.
SourceSettings read_source_settings(std::string const& parameters);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_SOURCE_SETTINGS_H_
