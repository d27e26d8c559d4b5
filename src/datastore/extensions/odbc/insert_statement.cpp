#include "insert_statement.h"

#include <cstdint>

#include <datastore/vocabulary.h>

#include "../sqlite/node_names.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// The values of one execution and their length indicators, alive until it ends.
class Binder {
  public:
    explicit Binder(SQLHSTMT statement) : statement_(statement) {}

    void text(std::string const& value) {
        SQLLEN& length = lengths_[next_] = static_cast<SQLLEN>(value.size());
        bind(SQL_C_CHAR, SQL_LONGVARCHAR, value.empty() ? 1 : value.size(),
             const_cast<char*>(value.data()), &length);
    }
    void integer(std::int32_t const& value) {
        bind(SQL_C_SLONG, SQL_INTEGER, 0, const_cast<std::int32_t*>(&value), nullptr);
    }
    void big_integer(std::int64_t const& value) {
        bind(SQL_C_SBIGINT, SQL_BIGINT, 0, const_cast<std::int64_t*>(&value), nullptr);
    }
    void real(double const& value) {
        bind(SQL_C_DOUBLE, SQL_DOUBLE, 0, const_cast<double*>(&value), nullptr);
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
};

}  // namespace

Statement prepare_insert(SQLHDBC dbc) {
    std::string const sql =
        "INSERT INTO " + table_name +
        "(Provider, Hostname, num_nodes, node_names, Exit_status, Timestamp, Duration, "
        "Encoding, STDOUT, STDERR, OptionID, version, Username, Unique_timestamp) "
        "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
    Statement statement = new_statement(dbc);
    check(SQLPrepare(statement.get(), reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql.c_str())),
                     static_cast<SQLINTEGER>(sql.size())),
          SQL_HANDLE_STMT, statement.get(), "SQLPrepare");
    return statement;
}

void execute_insert(SQLHSTMT statement, provider::header const& header,
                    std::string const& option_id, std::string const& stdout_text,
                    std::string const& stderr_text) {
    std::string const node_names = sqlite_plugin::join_node_names(header.node_names);
    std::int32_t const encoding = header.Encoding;
    Binder bind(statement);
    bind.text(header.Provider);
    bind.text(header.Hostname);
    bind.integer(header.num_nodes);
    bind.text(node_names);
    bind.integer(header.Exit_status);
    bind.big_integer(header.Timestamp);
    bind.real(header.Duration);
    bind.integer(encoding);
    bind.text(stdout_text);
    bind.text(stderr_text);
    bind.text(option_id);
    bind.integer(header.version);
    bind.text(header.Username);
    bind.big_integer(header.Unique_timestamp);
    check(SQLExecute(statement), SQL_HANDLE_STMT, statement, "SQLExecute");
}

}  // namespace vexa::datastore::odbc_plugin
