#include "connection.h"

#include <optional>

#include "server_socket.h"

namespace vexa::datastore::odbc_plugin {

namespace {

void set_attribute(SQLHDBC dbc, SQLINTEGER attribute, SQLULEN value, char const* what) {
    check(SQLSetConnectAttr(dbc, attribute, reinterpret_cast<SQLPOINTER>(value), 0), SQL_HANDLE_DBC,
          dbc, what);
}

}  // namespace

Connection::Connection(SQLHENV environment, std::string const& connection_string, bool read_only,
                       SQLUINTEGER timeout_seconds)
    : dbc_(allocate(SQL_HANDLE_DBC, environment)) {
    try {
        set_attribute(dbc_, SQL_ATTR_LOGIN_TIMEOUT, timeout_seconds, "SQL_ATTR_LOGIN_TIMEOUT");
        if (read_only) {
            set_attribute(dbc_, SQL_ATTR_ACCESS_MODE, SQL_MODE_READ_ONLY, "SQL_ATTR_ACCESS_MODE");
        }
        auto* const text = reinterpret_cast<SQLCHAR*>(const_cast<char*>(connection_string.c_str()));
        std::optional<ServerSocket> const socket = socket_opened_by([&] {
            SQLSMALLINT length = 0;
            check(SQLDriverConnect(dbc_, nullptr, text,
                                   static_cast<SQLSMALLINT>(connection_string.size()), nullptr, 0,
                                   &length, SQL_DRIVER_NOPROMPT),
                  SQL_HANDLE_DBC, dbc_, "SQLDriverConnect");
        });
        connected_ = true;
        if (socket) {
            note_server_socket(dbc_, *socket);
        }
    } catch (...) {
        SQLFreeHandle(SQL_HANDLE_DBC, dbc_);
        throw;
    }
}

Connection::~Connection() {
    if (connected_) {
        forget_server_socket(dbc_);
        SQLDisconnect(dbc_);
    }
    SQLFreeHandle(SQL_HANDLE_DBC, dbc_);
}

std::string Connection::info(SQLUSMALLINT item) const {
    char text[256] = {};
    SQLSMALLINT length = 0;
    if (!SQL_SUCCEEDED(SQLGetInfo(dbc_, item, text, sizeof text, &length))) {
        return "";
    }
    return text;
}

bool Connection::dead() const {
    SQLUINTEGER dead = SQL_CD_FALSE;
    SQLRETURN const rc = SQLGetConnectAttr(dbc_, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr);
    return SQL_SUCCEEDED(rc) && dead == SQL_CD_TRUE;
}

namespace {

bool reads_data(SQLHDBC dbc, SQLUINTEGER extension) {
    SQLUINTEGER extensions = 0;
    SQLRETURN const rc =
        SQLGetInfo(dbc, SQL_GETDATA_EXTENSIONS, &extensions, sizeof extensions, nullptr);
    return SQL_SUCCEEDED(rc) && (extensions & extension) != 0;
}

}  // namespace

bool Connection::reads_bound_columns() const { return reads_data(dbc_, SQL_GD_BOUND); }

bool Connection::reads_cells_of_blocks() const { return reads_data(dbc_, SQL_GD_BLOCK); }

}  // namespace vexa::datastore::odbc_plugin
