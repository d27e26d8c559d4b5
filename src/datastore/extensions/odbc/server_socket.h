// The socket through which an ODBC driver talks to its server, kept for the
// one case a cancel cannot help: a server process that is stopped (or a
// link gone silent) never answers, and the driver waits on the socket for
// good. Shutting the socket down from this side ends that wait; the driver
// then fails the call as a lost connection.
//
// A driver does not say which socket is its own, so the socket of a
// connection is the one stream socket that appeared in the process while
// the connection was made. When there is not exactly one (another thread
// connected at the same moment, or a driver that has none, such as
// SQLite's), none is known and calls rely on the cancel alone.
#ifndef VEXA_ODBC_PLUGIN_SERVER_SOCKET_H_
#define VEXA_ODBC_PLUGIN_SERVER_SOCKET_H_

#include <sys/types.h>

#include <functional>
#include <optional>

#include <sql.h>

namespace vexa::datastore::odbc_plugin {

// A socket by descriptor and by inode, so that a descriptor the process
// reused for another file is never taken for it.
struct ServerSocket {
    int fd = -1;
    ino_t inode = 0;
};

// Runs `connect` and returns the one connected stream socket it opened.
std::optional<ServerSocket> socket_opened_by(std::function<void()> const& connect);

// The sockets of the open connections, process-wide, by connection handle.
// Thread safety: every function may run in any thread at once.
// Notes `socket` as the one of `dbc`; forget() before `dbc` disconnects.
void note_server_socket(SQLHDBC dbc, ServerSocket socket);
void forget_server_socket(SQLHDBC dbc);
// The socket of `dbc`, if known.
std::optional<ServerSocket> server_socket_of(SQLHDBC dbc);
// Shuts `socket` down for reading and writing if it is still the one of
// `dbc`, which is still connected.
void shut_down_server_socket(SQLHDBC dbc, ServerSocket socket);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_SERVER_SOCKET_H_
