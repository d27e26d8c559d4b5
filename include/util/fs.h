// File-system path support functions.
#ifndef VEXA_UTIL_FS_H_
#define VEXA_UTIL_FS_H_

#include <string>

#include <datastore/export.h>

namespace vexa::fs {

// `path` made absolute against the current directory and normalised
// lexically ("." and ".." resolved, runs of "/" collapsed), without a
// trailing slash except for "/" itself. The path need not exist:
//   abspath("a/../b/") -> "<cwd>/b"
VEXA_DATASTORE_EXPORT std::string abspath(std::string const& path);

// The real path of the shared library file whose code is running (the
// library that holds this function), for example
// "/opt/vexa/lib/quarn64/libvexa_datastore.so".
VEXA_DATASTORE_EXPORT std::string selfpath();

// `path` with a leading "~" (alone or before "/") replaced by $HOME and
// every "$NAME" or "${NAME}" by the value of that environment variable.
// Nothing else changes: blanks, quotes and pattern characters such as "*"
// stay as written, so the result names exactly one file. A "$" that does
// not start a variable name stays as it is.
// Throws std::runtime_error naming the variable when one it needs is unset
// or empty: a path silently rooted at "/" would create files where nobody
// looks for them.
//   expand_path("~/my data/$USER.db") -> "/home/u/my data/u.db"
VEXA_DATASTORE_EXPORT std::string expand_path(std::string const& path);

}  // namespace vexa::fs

#endif  // VEXA_UTIL_FS_H_
