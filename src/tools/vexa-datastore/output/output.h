// What commands print: named columns and rows of JSON values, written to
// standard output as an aligned table, one JSON array, JSON Lines or
// RFC 4180 CSV. Every format takes rows one at a time, so a command can
// write rows as it produces them instead of building a whole table first.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_OUTPUT_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_OUTPUT_H_

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/options.h"

namespace vexa::tool {

// One value of a table: a string, a number, a boolean, null or an array.
// JSON objects keep the order in which columns are named.
using Cell = nlohmann::ordered_json;

struct Table {
    std::vector<std::string> columns;
    std::vector<std::vector<Cell>> rows;  // one value per column
};

// A value as one text: strings as they are, numbers in their shortest exact
// form, arrays joined with ",", null as "".
std::string cell_text(Cell const& value);

// A destination for rows in one format. Throws std::runtime_error saying
// why when the output cannot be written, at the latest from finish().
class RowOutput {
  public:
    virtual ~RowOutput() = default;
    // `cells` holds one value per column.
    virtual void row(std::vector<Cell> const& cells) = 0;
    // Ends the output (the closing bracket, the rows a table still holds) and
    // flushes it.
    virtual void finish() = 0;
};

// The output of `columns` in the format of `global`, on `out`. A table is
// cut to the terminal's width only when `out` is standard output on a
// terminal and `global.wide` is not set.
std::unique_ptr<RowOutput> open_output(std::vector<std::string> columns,
                                       GlobalOptions const& global, std::ostream& out = std::cout);

// Writes `table` to standard output in the format of `global`.
void print(Table const& table, GlobalOptions const& global);

// Throws std::runtime_error naming the cause when `out` failed.
void check_written(std::ostream& out);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_OUTPUT_H_
