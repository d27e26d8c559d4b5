#include "insert.h"

#include <algorithm>

#include <datastore/columns.h>

#include "call_deadline.h"
#include "multi_row_insert.h"
#include "node_names.h"
#include "statements.h"
#include "stored_record.h"

namespace vexa::datastore::odbc_plugin {

namespace {

constexpr std::size_t parameters_per_row = record_columns.size() - first_stored_column;

// Binds the values of runs, by their types, as the next parameters of one
// execution; the runs and the length indicators stay alive until it ends.
class Binder {
  public:
    Binder(SQLHSTMT statement, std::size_t rows) : statement_(statement) {
        lengths_.reserve(rows * parameters_per_row);  // never moves once bound
    }

    template <typename Run>
    void bind_run(Run const& run) {
        run_node_names_ = &run.node_names;
        run_encoding_ = &run.encoding;
        InsertRequest const& request = run.request;
        common::StoredRecord const record(request.header, request.option_id, request.stdout_text,
                                          request.stderr_text);
        for (std::size_t i = first_stored_column; i < record_columns.size(); ++i) {
            visit_member(record, record_columns[i].member, *this);
        }
    }

    void operator()(std::string const& value) {
        SQLLEN& length = lengths_.emplace_back(static_cast<SQLLEN>(value.size()));
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
    void operator()(provider::encoding const&) { (*this)(*run_encoding_); }
    void operator()(std::vector<std::string> const&) { (*this)(*run_node_names_); }

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
    std::vector<SQLLEN> lengths_;
    std::string const* run_node_names_ = nullptr;
    std::int32_t const* run_encoding_ = nullptr;
};

Statement prepared(SQLHDBC dbc, std::size_t rows) {
    std::string const sql = multi_row_insert(common::insert_query(common::Markers::plain), rows);
    Statement statement = new_statement(dbc);
    check(SQLPrepare(statement.get(), reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql.c_str())),
                     static_cast<SQLINTEGER>(sql.size())),
          SQL_HANDLE_STMT, statement.get(), "SQLPrepare");
    return statement;
}

}  // namespace

void PendingRuns::add(provider::header const& header, std::string const& option_id,
                      std::string const& stdout_text, std::string const& stderr_text) {
    std::string node_names = common::join_node_names(header.node_names);
    runs_.push_back(Run{InsertRequest{stdout_text, stderr_text, header, option_id},
                        std::move(node_names), static_cast<std::int32_t>(header.Encoding)});
}

Inserter::Inserter(SQLHDBC dbc)
    : dbc_(dbc), one_row_(prepared(dbc, 1)), full_(prepared(dbc, rows_per_statement)) {}

void Inserter::store(PendingRuns& runs) {
    auto const& all = runs.runs_;
    try {
        for (std::size_t first = 0; first < all.size(); first += rows_per_statement) {
            std::size_t const rows = std::min(rows_per_statement, all.size() - first);
            Statement made_for_it;
            SQLHSTMT statement = rows == 1 ? one_row_.get() : full_.get();
            if (rows != 1 && rows != rows_per_statement) {
                made_for_it = prepared(dbc_, rows);
                statement = made_for_it.get();
            }
            Binder binder(statement, rows);
            for (std::size_t row = first; row < first + rows; ++row) {
                binder.bind_run(all[row]);
            }
            WatchedStatement const watched(statement, dbc_);  // prepared before the call
            check(SQLExecute(statement), SQL_HANDLE_STMT, statement, "SQLExecute");
        }
    } catch (...) {
        runs.clear();
        throw;
    }
    runs.clear();
}

}  // namespace vexa::datastore::odbc_plugin
