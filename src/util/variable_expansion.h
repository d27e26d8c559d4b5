// The expansion behind fs::expand_path and str::wordexp: a leading "~" and
// every "$NAME" or "${NAME}", nothing else.
#ifndef VEXA_UTIL_VARIABLE_EXPANSION_H_
#define VEXA_UTIL_VARIABLE_EXPANSION_H_

#include <string>

namespace vexa::util {

enum class UnsetVariable { is_an_error, expands_to_nothing };

// `text` with a leading "~" (alone or before "/") replaced by $HOME and every
// "$NAME" or "${NAME}" by the variable's value; blanks, quotes and pattern
// characters stay as written, and a "$" that starts no name stays as it is.
// A variable that is unset or empty throws std::runtime_error naming it, or
// expands to nothing, as `unset` says.
std::string expand_variables(std::string const& text, UnsetVariable unset);

}  // namespace vexa::util

#endif  // VEXA_UTIL_VARIABLE_EXPANSION_H_
