#include "insert.h"

#include <cstdint>
#include <vector>

#include <datastore/columns.h>

#include "node_names.h"
#include "statements.h"
#include "stored_record.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// Binds one value of the record as parameter `index`, by its type.
struct ValueBinder {
    sqlite3_stmt* statement;
    int index;
    std::string& joined_names;  // the node names' stored form, alive until the step

    void operator()(std::int32_t value) const { sqlite3_bind_int(statement, index, value); }
    void operator()(std::int64_t value) const { sqlite3_bind_int64(statement, index, value); }
    void operator()(double value) const { sqlite3_bind_double(statement, index, value); }
    void operator()(provider::encoding value) const { sqlite3_bind_int(statement, index, value); }
    void operator()(std::string const& text) const { bind_text(statement, index, text); }
    void operator()(std::vector<std::string> const& names) const {
        joined_names = common::join_node_names(names);
        bind_text(statement, index, joined_names);
    }
};

// Leaves the statement ready for its next use however the step went.
struct ResetOnExit {
    sqlite3_stmt* statement;
    ~ResetOnExit() {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
};

}  // namespace

Statement prepare_insert(::sqlite3* db) {
    return prepare(db, common::insert_query(common::Markers::numbered) + ";");
}

void execute_insert(::sqlite3* db, sqlite3_stmt* statement, provider::header const& header,
                    std::string const& option_id, std::string const& stdout_text,
                    std::string const& stderr_text) {
    ResetOnExit const reset{statement};
    common::StoredRecord const record(header, option_id, stdout_text, stderr_text);
    std::string joined_names;
    for (std::size_t i = first_stored_column; i < record_columns.size(); ++i) {
        int const parameter = static_cast<int>(i - first_stored_column + 1);
        visit_member(record, record_columns[i].member,
                     ValueBinder{statement, parameter, joined_names});
    }
    if (sqlite3_step(statement) != SQLITE_DONE) {
        fail(db);
    }
}

}  // namespace vexa::datastore::sqlite_plugin
