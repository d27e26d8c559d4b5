#include "output/progress.h"

#include <cstdio>

#include "output/terminal.h"

namespace vexa::tool {

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
    if (!enabled_ || now - start_ < std::chrono::seconds(1) ||
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
