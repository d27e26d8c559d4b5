#include <util/log.h>

#include <syslog.h>

#include <iostream>

namespace vexa::log {

int LOG_LEVEL = 4;
int LOG_OUTPUT = 0;

ErrorLog::ErrorLog(char const* /*file*/, char const* /*function*/, unsigned int /*line*/, int level)
    : level_(level) {}

ErrorLog::ErrorLog(int level) : level_(level) {}

ErrorLog::~ErrorLog() {
    if (level_ > LOG_LEVEL) {
        return;
    }
    std::string const text = stream_.str();
    if (LOG_OUTPUT == 0) {
        // One write per message keeps lines from several threads whole.
        std::cerr << (text + "\n") << std::flush;
    } else {
        syslog(level_, "%s\n", text.c_str());
    }
}

std::stringstream& ErrorLog::stream() { return stream_; }

}  // namespace vexa::log
