// Stored records as the texts a database answers for them, so rows read as
// records can stand beside rows read as any-column answers.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_RECORD_TEXT_H_
#define VEXA_TOOLS_VEXA_DATASTORE_RECORD_TEXT_H_

#include <optional>
#include <string>
#include <vector>

#include <datastore/datastore.h>

#include "output/output.h"

namespace vexa::tool {

// The columns of the view vexa_1, as the database names them.
std::vector<std::string> const& view_columns();

// The member of `row` under the column name `column` (ASCII
// case-insensitively, as SQL names are) as the database's text: numbers in
// decimal, a real with at least one decimal ("1.0"), node names joined with
// ","; nullopt when no member has that name.
std::optional<std::string> member_text(datastore::Row const& row, std::string const& column);

// `text` as a JSON number when it is exactly the text of one ("42", "-7",
// "0.25"), otherwise as a string.
Cell number_or_text(std::string const& text);

// A cell of an any-column answer: its text, as a number when it reads as one
// (so JSON keeps counts and stamps numeric), null for NULL.
Cell cell_of(std::optional<std::string> const& text);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_RECORD_TEXT_H_
