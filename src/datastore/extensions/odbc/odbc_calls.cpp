#include "odbc_calls.h"

#include <string>
#include <string_view>

#include "call_deadline.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// `message` without its trailing blanks, each line break and the blanks
// around it made one blank.
std::string one_line(std::string_view message) {
    message = message.substr(0, message.find_last_not_of(" \t\r\n") + 1);
    std::string line;
    for (std::size_t at = 0; at < message.size(); ++at) {
        if (message[at] != '\n') {
            line += message[at];
            continue;
        }
        line.erase(line.find_last_not_of(" \t\r") + 1);
        line += ' ';
        while (at + 1 < message.size() && (message[at + 1] == ' ' || message[at + 1] == '\t')) {
            ++at;
        }
    }
    return line;
}

bool means_lost_connection(std::string_view state) {
    return state.substr(0, 2) == "08" || state == "57P01" || state == "57P02" || state == "57P03";
}

// Whether a diagnostic record of `handle` says the link is gone: a call
// that "succeeded" so must not be followed by another on the same cursor,
// whose state the driver no longer keeps.
bool warns_of_lost_connection(SQLSMALLINT type, SQLHANDLE handle) {
    SQLCHAR state[6];
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    for (SQLSMALLINT record = 1;
         SQL_SUCCEEDED(SQLGetDiagRec(type, handle, record, state, &native, nullptr, 0, &length));
         ++record) {
        if (means_lost_connection(std::string_view(reinterpret_cast<char const*>(state), 5))) {
            return true;
        }
    }
    return false;
}

}  // namespace

OdbcError::OdbcError(std::string const& text, bool connection_lost)
    : std::runtime_error(text), connection_lost_(connection_lost) {}

void check(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, char const* call) {
    if (rc == SQL_SUCCESS || rc == SQL_NO_DATA ||
        (rc == SQL_SUCCESS_WITH_INFO && !warns_of_lost_connection(type, handle))) {
        return;
    }
    std::string text = call;
    text += ':';
    bool lost = false;
    SQLCHAR state[6];
    SQLINTEGER native = 0;
    SQLCHAR message[SQL_MAX_MESSAGE_LENGTH];
    SQLSMALLINT length = 0;
    SQLSMALLINT record = 1;
    while (handle != SQL_NULL_HANDLE &&
           SQL_SUCCEEDED(SQLGetDiagRec(type, handle, record, state, &native, message,
                                       sizeof message, &length))) {
        std::string_view const sqlstate(reinterpret_cast<char const*>(state), 5);
        lost = lost || means_lost_connection(sqlstate);
        text += record == 1 ? " [" : "; [";
        text += sqlstate;
        text += "] (" + std::to_string(native) + ") ";
        // psqlODBC ends some texts in a newline, which would leave a blank
        // line in the log, and puts the server's reason and its own on two
        // lines; one line keeps the reason in whatever reads the last line
        // of a log.
        text += one_line(reinterpret_cast<char const*>(message));
        ++record;
    }
    if (record == 1) {
        text += rc == SQL_INVALID_HANDLE ? " invalid handle" : " failed without a diagnostic";
    }
    throw OdbcError(text, lost);
}

SQLHANDLE allocate(SQLSMALLINT type, SQLHANDLE parent) {
    SQLHANDLE handle = SQL_NULL_HANDLE;
    SQLRETURN const rc = SQLAllocHandle(type, parent, &handle);
    // A failed allocation leaves its diagnostics on the parent.
    SQLSMALLINT const parent_type = type == SQL_HANDLE_STMT ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
    check(rc, parent_type, parent, "SQLAllocHandle");
    return handle;
}

void StatementFreer::operator()(SQLHANDLE handle) const noexcept {
    CallDeadline::forget(handle);
    SQLFreeHandle(SQL_HANDLE_STMT, handle);
}

Statement new_statement(SQLHDBC dbc) {
    Statement statement(allocate(SQL_HANDLE_STMT, dbc));
    CallDeadline::watch(statement.get(), dbc);
    return statement;
}

namespace {

Statement executed(SQLHDBC dbc, std::string const& sql) {
    Statement statement = new_statement(dbc);
    auto* const text = reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql.c_str()));
    check(SQLExecDirect(statement.get(), text, static_cast<SQLINTEGER>(sql.size())),
          SQL_HANDLE_STMT, statement.get(), "SQLExecDirect");
    return statement;
}

}  // namespace

void execute(SQLHDBC dbc, std::string const& sql) { executed(dbc, sql); }

void set_autocommit(SQLHDBC dbc, bool on) {
    SQLULEN const value = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
    check(SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(value), 0),
          SQL_HANDLE_DBC, dbc, "SQL_ATTR_AUTOCOMMIT");
}

void run_in_transaction(SQLHDBC dbc, std::vector<std::string> const& statements) {
    set_autocommit(dbc, false);
    try {
        for (std::string const& sql : statements) {
            execute(dbc, sql);
        }
        check(SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_COMMIT), SQL_HANDLE_DBC, dbc, "SQLEndTran");
    } catch (...) {
        SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
        set_autocommit(dbc, true);
        throw;
    }
    set_autocommit(dbc, true);
}

std::string first_text(SQLHDBC dbc, std::string const& sql) {
    Statement const statement = executed(dbc, sql);
    SQLRETURN const rc = SQLFetch(statement.get());
    check(rc, SQL_HANDLE_STMT, statement.get(), "SQLFetch");
    char text[256] = {};
    SQLLEN length = 0;
    if (rc == SQL_NO_DATA ||
        !SQL_SUCCEEDED(SQLGetData(statement.get(), 1, SQL_C_CHAR, text, sizeof text, &length)) ||
        length == SQL_NULL_DATA) {
        return "";
    }
    return text;
}

}  // namespace vexa::datastore::odbc_plugin
