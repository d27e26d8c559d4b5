// Progress of a long job on standard error.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_PROGRESS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <string>

namespace vexa::tool {

// Shown only when standard error is a terminal and the job has run for more
// than a second, so quick jobs and redirected output stay quiet; redrawn at
// most ten times a second on one line, erased when the object goes.
class Progress {
  public:
    // `total` 0: the amount of work is not known in advance.
    Progress(std::string label, std::size_t total);
    ~Progress();
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    void update(std::size_t done);

  private:
    using Clock = std::chrono::steady_clock;

    std::string label_;
    std::size_t total_;
    bool enabled_;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_draw_ = start_;
};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_OUTPUT_PROGRESS_H_
