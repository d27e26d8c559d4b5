// What an ODBC instance's source parameters name: a data source name or a
// full connection string, and whether the instance may write.
#ifndef VEXA_ODBC_PLUGIN_SOURCE_SETTINGS_H_
#define VEXA_ODBC_PLUGIN_SOURCE_SETTINGS_H_

#include <chrono>
#include <string>

namespace vexa::datastore::odbc_plugin {

struct SourceSettings {
    std::string target;  // a DSN, or a connection string (it holds "=")
    bool read_only = false;
    // The instance's first time limit, and the bound of its login (rounded
    // up to whole seconds); zero when the parameters set none.
    std::chrono::milliseconds timeout{0};

    bool is_dsn() const { return target.find('=') == std::string::npos; }
    // The text handed to SQLDriverConnect: "DSN=<target>" for a DSN, else the
    // target; then the settings that stream large results through the driver
    // (psqlODBC's UseDeclareFetch and Fetch, SQLite ODBC's StepAPI) and make
    // psqlODBC roll back whole transactions (Protocol=7.4-1), none of which
    // needs a session, so they hold through a pooler in transaction mode. Each is added unless
    // the text or the DSN's own entry already says otherwise.
    std::string connection_string() const;
    // "dsn=NAME", or "connection=TEXT" with every password value hidden.
    std::string display() const;
};

// Reads the parameters as read_odbc_source_parameters() does
// (<datastore/source_parameters.h>). Throws std::runtime_error with the
// reason for parameters it refuses.
SourceSettings read_source_settings(std::string const& params);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_SOURCE_SETTINGS_H_
