// The formats behind open_output(), one file each.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_OUTPUT_FORMATS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_OUTPUT_FORMATS_H_

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "output/output.h"

namespace vexa::tool {

// Columns padded to a common width, numbers right-aligned. With a `width`,
// the widest texts are shortened with "…" until the table fits in that many
// display columns; 0 never shortens. The widths are those of the first
// 1,000 rows, which are kept until then; later rows are written at once, a
// longer text in them shortened only when there is a `width`. A table
// without rows says so in a line of its own.
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

// Rows as JSON objects keyed by the column names, each on one line or, when
// `in_array`, over several lines as an element of an indented array. The
// keys are escaped once for all rows and the values written straight into
// one reused buffer, since an export writes hundreds of thousands of rows.
// Provider output is not always valid UTF-8; such bytes become U+FFFD
// rather than aborting the whole listing.
class JsonObjectWriter {
  public:
    JsonObjectWriter(std::vector<std::string> const& columns, bool in_array);

    // The object of `cells` (one value per column), valid until the next call.
    std::string const& text_of(std::vector<Cell> const& cells);

  private:
    std::vector<std::string> openings_;  // what goes before each column's value
    std::string closing_;
    bool in_array_;
    std::string text_;
};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_OUTPUT_FORMATS_H_
