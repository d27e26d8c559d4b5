// OP_FAILING_SINCE as the ODBC plug-in serves it: four statements prepared
// once per call, each pair bound into them in turn.
#include <datastore/vocabulary.h>

#include "odbc_extension.h"
#include "pair_lookups.h"
#include "statements.h"

namespace vexa::datastore::odbc_plugin {

namespace {

Statement prepared(SQLHDBC dbc, std::string const& sql) {
    Statement statement = new_statement(dbc);
    check(SQLPrepare(statement.get(), reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql.c_str())),
                     static_cast<SQLINTEGER>(sql.size())),
          SQL_HANDLE_STMT, statement.get(), "SQLPrepare");
    return statement;
}

class OdbcPairLookups : public common::PairLookups {
  public:
    explicit OdbcPairLookups(SQLHDBC dbc)
        : last_pass_{prepared(dbc, common::last_pass_query(false)),
                     prepared(dbc, common::last_pass_query(true))},
          first_run_from_{prepared(dbc, common::first_run_from_query(false)),
                          prepared(dbc, common::first_run_from_query(true))} {}

    std::optional<std::int64_t> last_pass(RunPairBound const& pair, bool null_option) override {
        SQLHSTMT const s = last_pass_[null_option].get();
        Parameters parameters(s, pair, null_option);
        std::optional<std::int64_t> pass;
        if (executed_with_row(s)) {
            pass = integer(s, 1);
        }
        close(s);
        return pass;
    }

    std::optional<common::StoredRun> first_run_from(RunPairBound const& pair, bool null_option,
                                                    std::int64_t from) override {
        SQLHSTMT const s = first_run_from_[null_option].get();
        Parameters parameters(s, pair, null_option);
        parameters.bind_integer(from);
        std::optional<common::StoredRun> run;
        if (executed_with_row(s)) {
            run = common::StoredRun{integer(s, 1).value_or(0), integer(s, 2).value_or(0),
                                    integer(s, 3).value_or(0)};
        }
        close(s);
        return run;
    }

  private:
    // The pair's values bound to a statement, in the order of its markers;
    // they must stay alive until it has run.
    class Parameters {
      public:
        Parameters(SQLHSTMT s, RunPairBound const& pair, bool null_option) : s_(s) {
            bind_text(pair.provider);
            bind_text(pair.hostname);
            if (!null_option) {
                bind_text(pair.option_id);
            }
        }

        void bind_integer(std::int64_t value) {
            integer_ = value;
            check(SQLBindParameter(s_, next_++, SQL_PARAM_INPUT, SQL_C_SBIGINT, SQL_BIGINT, 0, 0,
                                   &integer_, 0, nullptr),
                  SQL_HANDLE_STMT, s_, "SQLBindParameter");
        }

      private:
        void bind_text(std::string const& text) {
            SQLLEN& length = lengths_[next_ - 1];
            length = static_cast<SQLLEN>(text.size());
            check(SQLBindParameter(s_, next_, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR,
                                   text.empty() ? 1 : text.size(), 0,
                                   const_cast<char*>(text.data()), 0, &length),
                  SQL_HANDLE_STMT, s_, "SQLBindParameter");
            ++next_;
        }

        SQLHSTMT s_;
        SQLUSMALLINT next_ = 1;
        SQLLEN lengths_[3] = {};
        std::int64_t integer_ = 0;
    };

    static bool executed_with_row(SQLHSTMT s) {
        check(SQLExecute(s), SQL_HANDLE_STMT, s, "SQLExecute");
        SQLRETURN const rc = SQLFetch(s);
        check(rc, SQL_HANDLE_STMT, s, "SQLFetch");
        return rc != SQL_NO_DATA;
    }

    // Column `column` of the fetched row; nullopt for NULL.
    static std::optional<std::int64_t> integer(SQLHSTMT s, SQLUSMALLINT column) {
        SQLBIGINT value = 0;
        SQLLEN indicator = 0;
        check(SQLGetData(s, column, SQL_C_SBIGINT, &value, sizeof value, &indicator),
              SQL_HANDLE_STMT, s, "SQLGetData");
        if (indicator == SQL_NULL_DATA) {
            return std::nullopt;
        }
        return value;
    }

    // Ends the statement's result, so that it may run again.
    static void close(SQLHSTMT s) {
        check(SQLFreeStmt(s, SQL_CLOSE), SQL_HANDLE_STMT, s, "SQLFreeStmt");
    }

    Statement last_pass_[2];  // by null_option
    Statement first_run_from_[2];
};

}  // namespace

int OdbcExtension::failing_since_operation(std::vector<RunPairBound> const& pairs,
                                           std::vector<RunPairHistory>& out) {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (!opened_) {
        return OPERATION_UNSUCCESSFULL;
    }
    out = recovering([&] {
        OdbcPairLookups lookups(connection().get());
        return common::look_up_pairs(pairs, lookups);
    });
    return OPERATION_SUCCESSFULL;
}

}  // namespace vexa::datastore::odbc_plugin
