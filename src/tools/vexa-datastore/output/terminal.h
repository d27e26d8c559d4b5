// What the tool needs to know about the terminal it writes to.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_TERMINAL_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_TERMINAL_H_

#include <cstddef>

namespace vexa::tool {

// The width of the terminal on standard output: COLUMNS when it holds a
// positive number, else what the terminal says, else 80.
std::size_t output_width();

// Whether standard output is a terminal (tables are cut to its width only
// there).
bool stdout_is_terminal();

// Whether standard error is a terminal (progress is shown only there).
bool stderr_is_terminal();

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_TERMINAL_H_
