#include "insert.h"

#include <cstdint>
#include <vector>

#include <datastore/columns.h>

#include "node_names.h"
#include "statements.h"
#include "stored_record.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// Binds the values of one execution, by their types, as the next parameter;
// the values and their length indicators stay alive until it ends.
class Binder {
  public:
    explicit Binder(SQLHSTMT statement) : statement_(statement) {}

    void operator()(std::string const& value) {
        SQLLEN& length = lengths_[next_] = static_cast<SQLLEN>(value.size());
        bind(SQL_C_CHAR, SQL_LONGVARCHAR, value.empty() ? 1 : value.size(),
             const_cast<char*>(value.data()), &length);
    }
    void operator()(std::int32_t const& value) {
        bind(SQL_C_SLONG, SQL_INTEGER, 0, const_cast<std::int32_t*>(&value), nullptr);
    }
    void operator()(std::int64_t const& value) {
        bind(SQL_C_SBIGINT, SQL_BIGINT, 0, const_cast<std::int64_t*>(&value), nullptr);
    }
    void operator()(double const& value) {
        bind(SQL_C_DOUBLE, SQL_DOUBLE, 0, const_cast<double*>(&value), nullptr);
    }
    void operator()(provider::encoding const& value) {
        encoding_ = value;
        (*this)(encoding_);
    }
    void operator()(std::vector<std::string> const& names) {
        node_names_ = common::join_node_names(names);
        (*this)(node_names_);
    }

  private:
    void bind(SQLSMALLINT c_type, SQLSMALLINT sql_type, SQLULEN size, SQLPOINTER value,
              SQLLEN* length) {
        ++next_;
        check(SQLBindParameter(statement_, next_, SQL_PARAM_INPUT, c_type, sql_type, size, 0, value,
                               0, length),
              SQL_HANDLE_STMT, statement_, "SQLBindParameter");
    }

    SQLHSTMT statement_;
    SQLUSMALLINT next_ = 0;
    SQLLEN lengths_[16] = {};
    std::int32_t encoding_ = 0;
    std::string node_names_;  // their stored form
};

}  // namespace

Statement prepare_insert(SQLHDBC dbc) {
    std::string const sql = common::insert_query(common::Markers::plain);
    Statement statement = new_statement(dbc);
    check(SQLPrepare(statement.get(), reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql.c_str())),
                     static_cast<SQLINTEGER>(sql.size())),
          SQL_HANDLE_STMT, statement.get(), "SQLPrepare");
    return statement;
}

void execute_insert(SQLHSTMT statement, provider::header const& header,
                    std::string const& option_id, std::string const& stdout_text,
                    std::string const& stderr_text) {
    common::StoredRecord const record(header, option_id, stdout_text, stderr_text);
    Binder bind(statement);
    for (std::size_t i = first_stored_column; i < record_columns.size(); ++i) {
        visit_member(record, record_columns[i].member, bind);
    }
    check(SQLExecute(statement), SQL_HANDLE_STMT, statement, "SQLExecute");
}

}  // namespace vexa::datastore::odbc_plugin
