#include "safe_names.h"

namespace vexa::tool {

std::string quote_problem(std::string const& name) {
    return name.find('\'') == std::string::npos
               ? ""
               : "a name must not hold a single quote (the datastores' queries cannot carry it)";
}

}  // namespace vexa::tool
