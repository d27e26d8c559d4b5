// Turns the result rows of one executed ODBC statement into Row records.
#ifndef VEXA_ODBC_PLUGIN_ROW_READER_H_
#define VEXA_ODBC_PLUGIN_ROW_READER_H_

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
    RowReader(SQLHSTMT statement, std::map<std::string, int> const& fields);

    // Fetches the next result row into `row`; false when there is none.
    // 64-bit members are read as 64-bit, texts whole, NULL as "" or zero.
    // Throws OdbcError.
    bool read(Row& row);

  private:
    struct Target {
        SQLUSMALLINT column;
        int member;
    };

    // Reads text column `column` of the current row into `text`.
    void read_text(SQLUSMALLINT column, std::string& text);
    template <typename Number>
    Number read_number(SQLUSMALLINT column, SQLSMALLINT c_type);

    SQLHSTMT statement_;
    std::vector<Target> targets_;
    std::string chunk_;       // reused for every text cell
    std::string node_names_;  // the joined names of the current row
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_ROW_READER_H_
