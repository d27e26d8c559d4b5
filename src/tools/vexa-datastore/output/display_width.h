// How many terminal columns a UTF-8 text takes.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_DISPLAY_WIDTH_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_DISPLAY_WIDTH_H_

#include <cstddef>
#include <string>

namespace vexa::tool {

// Two columns for each East Asian wide or full-width character and emoji,
// none for combining marks and zero-width characters, one for the rest:
// display_width("日本") == 4, by the Unicode data of utf8proc, independent of
// the process's locale.
std::size_t display_width(std::string const& text);

// The longest start of `text` that takes at most `width` columns, cut
// between characters.
std::string display_prefix(std::string const& text, std::size_t width);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_DISPLAY_WIDTH_H_
