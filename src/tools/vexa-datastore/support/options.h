// Options every command shares, and the failures a user can cause.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_OPTIONS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_OPTIONS_H_

#include <stdexcept>
#include <string>

namespace vexa::tool {

enum class Format { table, json, csv, jsonl };

struct GlobalOptions {
    std::string config_file;  // a group document; empty: the default datastore
    Format format = Format::table;
    bool wide = false;          // tables never cut to the terminal's width
    bool utc = false;           // times in tables in UTC instead of local time
    bool sort_by_time = false;  // merged rows ordered by time, oldest first
    int verbosity = 0;          // how many times -v was given
    unsigned timeout = 0;       // seconds any one datastore call may take; 0: no limit
};

// A mistake on the command line that the parser cannot see (an empty query,
// a count out of range): one line on standard error, exit status 2. Every
// other std::exception a command throws is reported as one line with exit
// status 1.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_OPTIONS_H_
