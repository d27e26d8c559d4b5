#include "monitoring/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace vexa::tool {

namespace {

std::runtime_error failure(std::string const& path, std::string const& step) {
    return std::runtime_error("cannot write " + path + ": " + step + ": " + std::strerror(errno));
}

void write_all(int fd, std::string const& text, std::string const& path) {
    std::size_t done = 0;
    while (done < text.size()) {
        ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            throw failure(path, "write");
        }
        done += static_cast<std::size_t>(n);
    }
}

}  // namespace

void write_atomically(std::string const& path, std::function<void(std::ostream&)> const& write) {
    std::ostringstream content;
    write(content);
    std::string temporary = path + ".XXXXXX";
    int fd = mkstemp(temporary.data());
    if (fd < 0) {
        throw failure(path, "create a temporary file beside it");
    }
    try {
        write_all(fd, content.str(), path);
        if (fchmod(fd, 0644) != 0) {
            throw failure(path, "chmod");
        }
        if (fsync(fd) != 0) {
            throw failure(path, "fsync");
        }
        if (close(fd) != 0) {
            fd = -1;
            throw failure(path, "close");
        }
        fd = -1;
        if (std::rename(temporary.c_str(), path.c_str()) != 0) {
            throw failure(path, "rename " + temporary);
        }
    } catch (...) {
        if (fd >= 0) {
            close(fd);
        }
        unlink(temporary.c_str());
        throw;
    }
}

}  // namespace vexa::tool
