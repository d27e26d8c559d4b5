// How long a datastore may take over one call (the global --timeout), and
// what the tool is waiting for, for a watchdog that must say so.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_TIME_LIMIT_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_TIME_LIMIT_H_

#include <chrono>
#include <string>

namespace vexa::tool {

// The limit that open_configured_datastores gives every instance it opens;
// zero (the default) sets none. Set once, before any datastore opens.
void set_datastore_time_limit(std::chrono::seconds limit);
std::chrono::seconds datastore_time_limit();

// Asks the open instance `name` to fail every later call that runs longer
// than the limit, through OP_SET_TIME_LIMIT; does nothing without a limit.
// A plug-in that does not serve the operation goes on without one.
void apply_datastore_time_limit(std::string const& name);

// What the tool waits for now, e.g. `opening datastore "pg"`; set by the
// thread doing the work, read by any thread.
void set_waiting_for(std::string what);
std::string waiting_for();

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_TIME_LIMIT_H_
