// Durations and points in time given on the command line.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_TIME_ARGUMENTS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_TIME_ARGUMENTS_H_

#include <cstdint>
#include <string>

namespace vexa::tool {

// A positive number of seconds, minutes, hours, days or weeks as seconds:
// "90s", "15m", "12h", "30d", "2w". Throws UsageError naming `option` and the
// text otherwise.
std::int64_t duration_seconds(std::string const& text, std::string const& option);

// A duration ago (as above) or a date, "2026-11-22", "2026-11-22 04:21" or
// "2026-11-22T04:21:59", in local time or, with `utc`, in UTC; as seconds
// since the epoch. `now` is the present in seconds. Throws UsageError
// naming `option` and the text otherwise.
std::int64_t point_in_time(std::string const& text, std::string const& option, std::int64_t now,
                           bool utc);

// The present, in seconds since the epoch.
std::int64_t now_seconds();

// The present, in microseconds since the epoch.
std::int64_t now_microseconds();

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_TIME_ARGUMENTS_H_
