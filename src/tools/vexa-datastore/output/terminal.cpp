#include "output/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace vexa::tool {

std::size_t output_width() {
    if (char const* columns = std::getenv("COLUMNS")) {
        char* end = nullptr;
        long value = std::strtol(columns, &end, 10);
        if (*columns != '\0' && *end == '\0' && value > 0) {
            return static_cast<std::size_t>(value);
        }
    }
    winsize size{};
    if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    return 80;
}

bool stdout_is_terminal() { return isatty(STDOUT_FILENO) == 1; }

bool stderr_is_terminal() { return isatty(STDERR_FILENO) == 1; }

}  // namespace vexa::tool
