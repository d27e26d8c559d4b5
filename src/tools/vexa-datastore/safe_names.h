// Names the library can use. It composes SQL with provider and host names
// pasted in between single quotes, so a name holding one would change the
// statement; the tool keeps such names away from it.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SAFE_NAMES_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SAFE_NAMES_H_

#include <string>

namespace vexa::tool {

// "" when `name` can be handed to the library, else why not.
std::string quote_problem(std::string const& name);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SAFE_NAMES_H_
