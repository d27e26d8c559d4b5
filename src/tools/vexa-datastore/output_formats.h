// The formats behind open_output(), one file each.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_FORMATS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_FORMATS_H_

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "output.h"

namespace vexa::tool {

// Columns padded to a common width, numbers right-aligned. With a `width`,
// the widest texts are shortened with "…" until the table fits in that many
// display columns; 0 never shortens. The rows' texts are kept until finish()
// (the widths depend on all of them); a table without rows says so in a
// line of its own.
std::unique_ptr<RowOutput> text_table_output(std::vector<std::string> columns, std::size_t width,
                                             std::ostream& out);
// One array holding an object per row, keyed by the column names, written
// object by object.
std::unique_ptr<RowOutput> json_output(std::vector<std::string> columns, std::ostream& out);
// One object per line, keyed by the column names.
std::unique_ptr<RowOutput> json_lines_output(std::vector<std::string> columns, std::ostream& out);
// A header record, then one record per row; CRLF line ends, fields with a
// comma, quote or line break quoted, quotes doubled.
std::unique_ptr<RowOutput> csv_output(std::vector<std::string> columns, std::ostream& out);

// A row as one JSON object keyed by `columns`, dumped on one line or, with
// `indent` >= 0, over several. Provider output is not always valid UTF-8;
// such bytes become U+FFFD rather than aborting the whole listing.
std::string json_object_text(std::vector<std::string> const& columns,
                             std::vector<Cell> const& cells, int indent);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_FORMATS_H_
