// Turns the result rows of one executed ODBC statement into Row records.
#ifndef VEXA_ODBC_PLUGIN_ROW_READER_H_
#define VEXA_ODBC_PLUGIN_ROW_READER_H_

#include <map>
#include <string>
#include <vector>

#include <datastore/records.h>

#include "connection.h"
#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

class RowReader {
  public:
    // How cells come from the driver, the cheapest first where it allows.
    enum class Fetching {
        // Every cell read with SQLGetData.
        cell_by_cell,
        // Columns bound to buffers that SQLFetch fills, one row a fetch; a
        // text longer than its buffer is read again whole with SQLGetData
        // (the driver reads bound columns again: SQL_GD_BOUND). About a
        // third cheaper than a call per cell.
        bound_rows,
        // As bound_rows, rows_per_fetch rows a fetch (a block cursor); a
        // long text is read again after SQLSetPos puts the cursor on its row
        // (the driver reads cells of a block: SQL_GD_BLOCK).
        bound_blocks,
    };
    // The rows one fetch brings with bound_blocks.
    static constexpr SQLULEN rows_per_fetch = 256;

    // Works out once which result column of `statement` lands in which Row
    // member: a column whose name equals a key of `fields` ASCII
    // case-insensitively (PostgreSQL folds names to lower case) goes to the
    // member whose index the key maps to (the numbering of
    // column_index_map). Columns matching no key, such as "max", are skipped.
    // Throws OdbcError.
    RowReader(SQLHSTMT statement, std::map<std::string, int> const& fields, Fetching fetching);
    RowReader(RowReader const&) = delete;  // the driver holds the buffers' addresses
    RowReader& operator=(RowReader const&) = delete;

    // Moves to the next result row and reads it into `row`; false when there
    // is none. 64-bit members are read as 64-bit, texts whole, NULL as "" or
    // zero. Throws OdbcError, also for a row the driver could not fetch.
    bool read(Row& row);

  private:
    struct CellReader;

    // The buffers of one result column: a cell of its C type per row of a
    // block, and their length indicators.
    struct Target {
        SQLUSMALLINT column;
        int member;
        SQLSMALLINT c_type;  // SQL_C_CHAR for texts
        SQLLEN width;        // bytes of one cell
        std::vector<char> cells;
        std::vector<SQLLEN> indicators;

        char* cell(SQLULEN row) { return cells.data() + row * static_cast<SQLULEN>(width); }
    };

    // Whether `target`'s cell of the current row holds a number, which is
    // then copied into `value`; false for NULL.
    template <typename Number>
    bool read_number(Target& target, Number& value);
    // Reads the text of `target`'s cell of the current row into `text`.
    void read_text(Target& target, std::string& text);
    // Reads the text with SQLGetData, in as many parts as it takes.
    void read_whole_text(Target& target, std::string& text);

    SQLHSTMT statement_;
    Fetching fetching_;
    std::vector<Target> targets_;
    SQLULEN fetched_ = 0;  // rows of the current block (the driver sets it in blocks)
    SQLULEN next_ = 0;     // the next row of the block to read
    SQLULEN current_ = 0;  // the row of the block being read
    std::vector<SQLUSMALLINT> row_status_;
    std::string node_names_;  // the joined names of the current row
};

// The cheapest way of reading rows that the driver of `link` allows.
RowReader::Fetching fetching_of(Connection const& link);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_ROW_READER_H_
