#include "pseudo_terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace vexa::test {

PseudoTerminal::PseudoTerminal() : terminal_(posix_openpt(O_RDWR | O_NOCTTY)) {
    if (terminal_ >= 0 && grantpt(terminal_) == 0 && unlockpt(terminal_) == 0) {
        side_ = open(ptsname(terminal_), O_RDWR | O_NOCTTY);
    }
    reader_ = std::thread([this] {
        char buffer[4096];
        ssize_t n;
        while (terminal_ >= 0 && (n = read(terminal_, buffer, sizeof buffer)) > 0) {
            shown_.append(buffer, static_cast<std::size_t>(n));
        }
    });
}

std::string const& PseudoTerminal::shown() {
    if (reader_.joinable()) {
        close(side_);  // the reader sees the end once no process holds the terminal
        reader_.join();
        close(terminal_);
    }
    return shown_;
}

}  // namespace vexa::test
