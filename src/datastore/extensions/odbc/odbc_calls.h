// Owning ODBC handles and the checks that turn a failed call into an
// exception carrying every diagnostic record the driver left.
#ifndef VEXA_ODBC_PLUGIN_ODBC_CALLS_H_
#define VEXA_ODBC_PLUGIN_ODBC_CALLS_H_

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <sql.h>
#include <sqlext.h>

namespace vexa::datastore::odbc_plugin {

template <SQLSMALLINT Type>
struct HandleFreer {
    void operator()(SQLHANDLE handle) const noexcept { SQLFreeHandle(Type, handle); }
};

// A statement also stops being one the running call's deadline may cancel
// (see CallDeadline) before it is freed.
struct StatementFreer {
    void operator()(SQLHANDLE handle) const noexcept;
};

using Environment = std::unique_ptr<void, HandleFreer<SQL_HANDLE_ENV>>;
using Statement = std::unique_ptr<void, StatementFreer>;

// A failed ODBC call. what() is "<call>: " followed by every diagnostic
// record as "[SQLSTATE] (native code) text", joined with "; ".
class OdbcError : public std::runtime_error {
  public:
    OdbcError(std::string const& text, bool connection_lost);
    // The server or the link went away (SQLSTATE class 08, 57P01-57P03).
    bool connection_lost() const { return connection_lost_; }

  private:
    bool connection_lost_;
};

// Throws OdbcError for `call` when `rc` is neither SQL_SUCCESS nor
// SQL_SUCCESS_WITH_INFO (nor SQL_NO_DATA), reading the diagnostics of
// `handle`, a handle of `type`; also for SQL_SUCCESS_WITH_INFO when a
// diagnostic record says the connection was lost.
void check(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, char const* call);

// A new handle of `type` under `parent`; throws OdbcError on failure.
SQLHANDLE allocate(SQLSMALLINT type, SQLHANDLE parent);

// A new statement on connection `dbc`, which the deadline bounding the
// calling thread's call (if any) may cancel.
Statement new_statement(SQLHDBC dbc);

// Runs `sql` on a fresh statement of `dbc`, discarding any result.
void execute(SQLHDBC dbc, std::string const& sql);

// Switches the autocommit of `dbc` on or off.
void set_autocommit(SQLHDBC dbc, bool on);

// Runs `statements` on `dbc` as one transaction, rolled back whole when one
// of them fails (its OdbcError passed on); autocommit is on again after.
void run_in_transaction(SQLHDBC dbc, std::vector<std::string> const& statements);

// The first column of the first row of `sql` as text; "" when there is no
// row or the value is NULL.
std::string first_text(SQLHDBC dbc, std::string const& sql);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_ODBC_CALLS_H_
