// What commands print: named columns and rows of JSON values, written to
// standard output as an aligned table, one JSON array or RFC 4180 CSV.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_H_

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "options.h"

namespace vexa::tool {

// One value of a table: a string, a number, a boolean or an array. JSON
// objects keep the order in which columns are named.
using Cell = nlohmann::ordered_json;

struct Table {
    std::vector<std::string> columns;
    std::vector<std::vector<Cell>> rows;  // one value per column
};

// A value as one text: strings as they are, numbers in their shortest exact
// form, arrays joined with ",", null as "".
std::string cell_text(Cell const& value);

// Columns padded to a common width, numbers right-aligned, the widest texts
// shortened with "…" until the table fits in `width` display columns. A
// table without rows says so in a line of its own.
void write_text_table(Table const& table, std::size_t width, std::ostream& out);
// One array holding an object per row, keyed by the column names.
void write_json(Table const& table, std::ostream& out);
// A header record, then one record per row; CRLF line ends, fields with a
// comma, quote or line break quoted, quotes doubled.
void write_csv(Table const& table, std::ostream& out);

// Writes `table` to standard output in `format`.
void print(Table const& table, Format format);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_H_
