// Replacing a file so that a reader sees the old content or the new, never
// a part.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_ATOMIC_FILE_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_ATOMIC_FILE_H_

#include <functional>
#include <ostream>
#include <string>

namespace vexa::tool {

// Lets `write` fill a temporary file beside `path` (same directory, so the
// rename stays on one file system), flushes it to disk and renames it over
// `path`, readable by all as a report is. Throws std::runtime_error naming
// `path` and the cause when any step fails, and then leaves no temporary
// file behind; an exception from `write` also removes it.
void write_atomically(std::string const& path, std::function<void(std::ostream&)> const& write);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_ATOMIC_FILE_H_
