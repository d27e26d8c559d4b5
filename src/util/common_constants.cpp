#include <util/common_constants.h>

#include <util/fs.h>
#include <util/str.h>

namespace vexa::util {

std::string CommonConstants::INSTALL_ROOT() {
    // Deliberately not normalised after "/../../" is appended: callers append
    // further parts to it.
    return fs::abspath(str::dirname(fs::selfpath())) + "/../../";
}

}  // namespace vexa::util
