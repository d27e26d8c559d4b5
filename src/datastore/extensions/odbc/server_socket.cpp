#include "server_socket.h"

#include <dirent.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <vector>

namespace vexa::datastore::odbc_plugin {

namespace {

// The connected stream sockets the process holds.
std::vector<ServerSocket> open_stream_sockets() {
    std::vector<ServerSocket> sockets;
    DIR* const directory = opendir("/proc/self/fd");
    if (directory == nullptr) {
        return sockets;
    }
    while (dirent const* entry = readdir(directory)) {
        char* end = nullptr;
        long const fd = std::strtol(entry->d_name, &end, 10);
        struct stat status {};
        if (*end != '\0' || end == entry->d_name || fd == dirfd(directory) ||
            fstat(static_cast<int>(fd), &status) != 0 || !S_ISSOCK(status.st_mode)) {
            continue;
        }
        int type = 0;
        socklen_t type_length = sizeof type;
        sockaddr_storage peer{};
        socklen_t peer_length = sizeof peer;
        if (getsockopt(static_cast<int>(fd), SOL_SOCKET, SO_TYPE, &type, &type_length) == 0 &&
            type == SOCK_STREAM &&
            getpeername(static_cast<int>(fd), reinterpret_cast<sockaddr*>(&peer), &peer_length) ==
                0) {
            sockets.push_back(ServerSocket{static_cast<int>(fd), status.st_ino});
        }
    }
    closedir(directory);
    return sockets;
}

bool held_in(std::vector<ServerSocket> const& sockets, ServerSocket socket) {
    for (ServerSocket const& held : sockets) {
        if (held.fd == socket.fd && held.inode == socket.inode) {
            return true;
        }
    }
    return false;
}

std::mutex sockets_mutex;
std::map<SQLHDBC, ServerSocket>& sockets_of_connections() {
    // Never destroyed: a connection may still be closing while the process
    // ends.
    static auto* const sockets = new std::map<SQLHDBC, ServerSocket>;
    return *sockets;
}

}  // namespace

std::optional<ServerSocket> socket_opened_by(std::function<void()> const& connect) {
    std::vector<ServerSocket> const before = open_stream_sockets();
    connect();
    std::optional<ServerSocket> opened;
    for (ServerSocket const socket : open_stream_sockets()) {
        if (held_in(before, socket)) {
            continue;
        }
        if (opened) {
            return std::nullopt;  // not one: which is the connection's is unknown
        }
        opened = socket;
    }
    return opened;
}

void note_server_socket(SQLHDBC dbc, ServerSocket socket) {
    std::lock_guard<std::mutex> const lock(sockets_mutex);
    sockets_of_connections()[dbc] = socket;
}

void forget_server_socket(SQLHDBC dbc) {
    std::lock_guard<std::mutex> const lock(sockets_mutex);
    sockets_of_connections().erase(dbc);
}

std::optional<ServerSocket> server_socket_of(SQLHDBC dbc) {
    std::lock_guard<std::mutex> const lock(sockets_mutex);
    auto const found = sockets_of_connections().find(dbc);
    if (found == sockets_of_connections().end()) {
        return std::nullopt;
    }
    return found->second;
}

void shut_down_server_socket(SQLHDBC dbc, ServerSocket socket) {
    // Under the lock: the connection cannot disconnect, and its descriptor
    // cannot be reused, before the shutdown is done.
    std::lock_guard<std::mutex> const lock(sockets_mutex);
    auto const found = sockets_of_connections().find(dbc);
    if (found == sockets_of_connections().end() || found->second.fd != socket.fd ||
        found->second.inode != socket.inode) {
        return;
    }
    // The driver may have closed its socket on an error of its own, and the
    // descriptor may hold another file since.
    struct stat status {};
    if (fstat(socket.fd, &status) == 0 && status.st_ino == socket.inode) {
        shutdown(socket.fd, SHUT_RDWR);
    }
}

}  // namespace vexa::datastore::odbc_plugin
