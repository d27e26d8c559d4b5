// "Did you mean ...?" for mistyped names.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_CLOSEST_NAME_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_CLOSEST_NAME_H_

#include <string>
#include <vector>

namespace vexa::tool {

// The name of `names` nearest to `word` by edit distance, when it is near
// enough to be a typing mistake (at most a third of its letters differ, at
// least one); "" otherwise. closest_name("cpu_lod", {"cpu_load"}) == "cpu_load".
std::string closest_name(std::string const& word, std::vector<std::string> const& names);

// "; did you mean 'NAME'?" with the closest name, or "" when there is none.
std::string did_you_mean(std::string const& word, std::vector<std::string> const& names);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_CLOSEST_NAME_H_
