// The value of a `timeout=SECONDS` source parameter, read alike by every
// plug-in of this project.
#ifndef VEXA_PLUGIN_COMMON_TIMEOUT_SECONDS_H_
#define VEXA_PLUGIN_COMMON_TIMEOUT_SECONDS_H_

#include <chrono>
#include <string>

namespace vexa::datastore::common {

// SECONDS (digits, optionally a point and more digits: "5", "0.25") as
// milliseconds, a fraction of a millisecond counted whole so that a limit is
// never rounded down to none. Throws std::runtime_error saying what was
// expected for anything else (a sign, an exponent, a comma, a bare point).
std::chrono::milliseconds timeout_seconds(std::string const& seconds);

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_TIMEOUT_SECONDS_H_
