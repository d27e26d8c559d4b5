// Time stamps as people read them.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_TIME_TEXT_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_TIME_TEXT_H_

#include <cstdint>
#include <string>

#include "output/output.h"
#include "support/options.h"

namespace vexa::tool {

// Seconds since the epoch as local time with its zone, "2021-04-30 13:05:09
// CEST", or with `utc` as "2021-04-30 11:05:09 UTC"; "" for 0, which is what
// a row carries when its time stamp was never set.
std::string readable_time(std::int64_t seconds, bool utc);

// A time stamp (seconds) as a cell: readable in tables (UTC with --utc),
// the stored number in every other format.
Cell time_cell(std::int64_t seconds, GlobalOptions const& global);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_TIME_TEXT_H_
