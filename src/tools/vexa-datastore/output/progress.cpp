#include "output/progress.h"

#include <cstdio>
#include <cstdlib>

#include "output/terminal.h"

namespace vexa::tool {

namespace {

// How long a job runs before its progress shows: a second. The variable
// VEXA_PROGRESS_DELAY_MS is a test setting, so that a test sees the line
// without a job that runs that long.
std::chrono::milliseconds delay_before_showing() {
    static std::chrono::milliseconds const delay = [] {
        char const* text = std::getenv("VEXA_PROGRESS_DELAY_MS");
        return text != nullptr ? std::chrono::milliseconds(std::atol(text))
                               : std::chrono::milliseconds(1000);
    }();
    return delay;
}

}  // namespace

Progress::Progress(std::string label, std::size_t total)
    : label_(std::move(label)), total_(total), enabled_(stderr_is_terminal()) {}

Progress::~Progress() {
    if (drawn_) {
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
    }
}

void Progress::update(std::size_t done) {
    auto now = Clock::now();
    if (!enabled_ || now - start_ < delay_before_showing() ||
        (drawn_ && now - last_draw_ < std::chrono::milliseconds(100))) {
        return;
    }
    if (total_ > 0) {
        std::fprintf(stderr, "\r%s: %zu/%zu (%zu%%)\033[K", label_.c_str(), done, total_,
                     done * 100 / total_);
    } else {
        std::fprintf(stderr, "\r%s: %zu\033[K", label_.c_str(), done);
    }
    std::fflush(stderr);
    drawn_ = true;
    last_draw_ = now;
}

}  // namespace vexa::tool
