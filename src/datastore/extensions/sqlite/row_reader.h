// Turns the result rows of one prepared statement into Row records.
#ifndef VEXA_SQLITE_PLUGIN_ROW_READER_H_
#define VEXA_SQLITE_PLUGIN_ROW_READER_H_

#include <map>
#include <string>
#include <vector>

#include <datastore/records.h>
#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

class RowReader {
  public:
    // Works out once which result column of `statement` lands in which Row
    // member: a column whose name equals a key of `fields` (ASCII
    // case-insensitively, as SQL compares names) goes to the member whose
    // index the key maps to (the numbering of column_index_map). Columns
    // matching no key, such as "MAX(unique_timestamp)", are skipped.
    RowReader(sqlite3_stmt* statement, std::map<std::string, int> const& fields);

    // Fills the mapped members of `row` from the statement's current result
    // row; NULL reads as an empty text or zero.
    void read(Row& row) const;

  private:
    struct Target {
        int column;
        int member;
    };

    sqlite3_stmt* statement_;
    std::vector<Target> targets_;
};

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_ROW_READER_H_
