// Expansion of a database path as written in source_parameters.
#ifndef VEXA_SQLITE_PLUGIN_PATH_EXPANSION_H_
#define VEXA_SQLITE_PLUGIN_PATH_EXPANSION_H_

#include <string>

namespace vexa::datastore::sqlite_plugin {

// `path` with a leading "~" (alone or before "/") replaced by $HOME and
// every "$NAME" or "${NAME}" by the value of that environment variable.
// Nothing else changes: blanks, quotes and pattern characters such as "*"
// stay as written, so the result names exactly one file. A "$" that does not
// start a variable name stays as it is. Throws std::runtime_error naming the
// variable when one it needs is unset or empty: a path silently rooted at
// "/" would create files where nobody looks for them.
std::string expand_path(std::string const& path);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_PATH_EXPANSION_H_
