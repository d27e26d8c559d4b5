// Turns the result rows of one executed ODBC statement into Row records.
#ifndef VEXA_ODBC_PLUGIN_ROW_READER_H_
#define VEXA_ODBC_PLUGIN_ROW_READER_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <datastore/records.h>

#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

class RowReader {
  public:
    // Works out once which result column of `statement` lands in which Row
    // member: a column whose name equals a key of `fields` ASCII
    // case-insensitively (PostgreSQL folds names to lower case) goes to the
    // member whose index the key maps to (the numbering of
    // column_index_map). Columns matching no key, such as "max", are skipped.
    //
    // With `bind_columns` (the driver reads bound columns again, SQL_GD_BOUND)
    // every such column is bound to a buffer that SQLFetch fills, which is
    // about a third cheaper than a call per cell; a text longer than its
    // buffer is then read whole with SQLGetData. Without, every cell is read
    // with SQLGetData.
    RowReader(SQLHSTMT statement, std::map<std::string, int> const& fields, bool bind_columns);
    RowReader(RowReader const&) = delete;  // the driver holds the buffers' addresses
    RowReader& operator=(RowReader const&) = delete;

    // Fetches the next result row into `row`; false when there is none.
    // 64-bit members are read as 64-bit, texts whole, NULL as "" or zero.
    // Throws OdbcError.
    bool read(Row& row);

  private:
    struct CellReader;

    struct Target {
        SQLUSMALLINT column;
        int member;
        SQLSMALLINT c_type;  // SQL_C_CHAR for texts
        // The buffer of the column: the one that its C type names.
        std::int32_t integer;
        std::int64_t big_integer;
        double real;
        std::string text;
        SQLLEN indicator;

        SQLPOINTER buffer();
        SQLLEN buffer_size() const;
    };

    // Whether `target`'s column of the current row holds a number, which is
    // then in its buffer; false for NULL.
    bool has_number(Target& target);
    std::int32_t integer(Target& target) { return has_number(target) ? target.integer : 0; }
    std::int64_t big_integer(Target& target) { return has_number(target) ? target.big_integer : 0; }
    double real(Target& target) { return has_number(target) ? target.real : 0; }
    // Reads the text of `target`'s column of the current row into `text`.
    void read_text(Target& target, std::string& text);
    // Reads the text with SQLGetData, in as many parts as it takes.
    void read_whole_text(Target& target, std::string& text);

    SQLHSTMT statement_;
    bool bound_;
    std::vector<Target> targets_;
    std::string node_names_;  // the joined names of the current row
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_ROW_READER_H_
