// Process-wide constants derived from the library's own location.
#ifndef VEXA_UTIL_COMMON_CONSTANTS_H_
#define VEXA_UTIL_COMMON_CONSTANTS_H_

#include <string>

#include <datastore/export.h>

namespace vexa::util {

struct VEXA_DATASTORE_EXPORT CommonConstants {
    // The installation root: the absolute directory of the library file
    // followed by "/../../", not normalised again, so a library in
    // /opt/app/lib/quarn64 gives "/opt/app/lib/quarn64/../../".
    static std::string INSTALL_ROOT();
};

}  // namespace vexa::util

#endif  // VEXA_UTIL_COMMON_CONSTANTS_H_
