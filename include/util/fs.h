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

}  // namespace vexa::fs

#endif  // VEXA_UTIL_FS_H_
