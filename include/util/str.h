// String support functions.
#ifndef VEXA_UTIL_STR_H_
#define VEXA_UTIL_STR_H_

#include <string>
#include <string_view>
#include <vector>

#include <datastore/export.h>

namespace vexa::str {

// The pieces of `text` between occurrences of `separator`, in order. Empty
// pieces are kept when `keep_empty` is true and dropped when it is false:
//   split("a||b", '|', true)  -> {"a", "", "b"}
//   split("a||b", '|', false) -> {"a", "b"}
//   split("", '|', true)      -> {""}
VEXA_DATASTORE_EXPORT std::vector<std::string> split(std::string const& text, char separator,
                                                     bool keep_empty);

// `text` without leading and trailing white space: stripws("  a b \n") -> "a b".
VEXA_DATASTORE_EXPORT std::string stripws(std::string text);

// `text` with the ASCII letters in lower case, every other byte as it was,
// whatever the locale: ascii_lower("Unique_TimeStamp") -> "unique_timestamp".
VEXA_DATASTORE_EXPORT std::string ascii_lower(std::string text);

// Whether `a` and `b` differ at most in the case of ASCII letters, as SQL
// compares names: ascii_iequals("Version", "version") -> true.
VEXA_DATASTORE_EXPORT bool ascii_iequals(std::string_view a, std::string_view b);

// Every run of `c` reduced to one: squeeze("a//b///c", '/') -> "a/b/c".
VEXA_DATASTORE_EXPORT std::string squeeze(std::string text, char c);

// Everything before the last "/": dirname("/a/b/c.so") -> "/a/b"; "/" for
// "/x", "." for a text without "/".
VEXA_DATASTORE_EXPORT std::string dirname(std::string const& path);

// `text` with its variables and a leading "~" expanded as fs::expand_path
// does, so blanks stay and nothing runs: wordexp("$HOME/my x") ->
// "/home/u/my x". As in a shell, an unset or empty variable expands to
// nothing; an empty text gives "".
VEXA_DATASTORE_EXPORT std::string wordexp(std::string text);

}  // namespace vexa::str

#endif  // VEXA_UTIL_STR_H_
