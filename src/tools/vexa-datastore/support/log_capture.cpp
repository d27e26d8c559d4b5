#include "support/log_capture.h"

#include <iostream>

#include <util/log.h>

namespace vexa::tool {

LogCapture::LogCapture()
    : saved_buffer_(std::cerr.rdbuf(captured_.rdbuf())),
      saved_level_(vexa::log::LOG_LEVEL),
      saved_output_(vexa::log::LOG_OUTPUT) {
    vexa::log::LOG_LEVEL = 4;
    vexa::log::LOG_OUTPUT = 0;
}

LogCapture::~LogCapture() {
    std::cerr.rdbuf(saved_buffer_);
    vexa::log::LOG_LEVEL = saved_level_;
    vexa::log::LOG_OUTPUT = saved_output_;
}

std::string LogCapture::last_line() const {
    std::string text = captured_.str();
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text.substr(text.find_last_of('\n') == std::string::npos ? 0
                                                                    : text.find_last_of('\n') + 1);
}

}  // namespace vexa::tool
