// What the tool needs to know about the terminal it writes to.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_TERMINAL_H_
#define VEXA_TOOLS_VEXA_DATASTORE_TERMINAL_H_

#include <cstddef>

namespace vexa::tool {

// The width tables must fit: COLUMNS when it holds a positive number, else
// the width of the terminal on standard output, else 80.
std::size_t output_width();

// Whether standard error is a terminal (progress is shown only there).
bool stderr_is_terminal();

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_TERMINAL_H_
