// Time stamps as people read them.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_TIME_TEXT_H_
#define VEXA_TOOLS_VEXA_DATASTORE_TIME_TEXT_H_

#include <cstdint>
#include <string>

namespace vexa::tool {

// Seconds since the epoch as local time, "2021-04-30 13:05:09"; "" for 0,
// which is what a row carries when its time stamp was never set.
std::string readable_time(std::int64_t seconds);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_TIME_TEXT_H_
