// Paired measurements: the library and its baseline run alternately within
// one repetition, so drift on a shared machine hits both sides alike; the
// figure is the median of the per-repetition ratios.
#ifndef VEXA_BENCH_PAIRED_H_
#define VEXA_BENCH_PAIRED_H_

#include <time.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <vector>

namespace vexa::bench {

struct PairedSamples {
    std::vector<double> library;
    std::vector<double> baseline;
};

// Whether seconds_of counts the calling thread's CPU time instead of
// elapsed time. On a machine shared with other busy processes, CPU time
// leaves out the time this process merely waited for a processor; it also
// leaves out waits for the disk, so it flatters anything that flushes.
inline bool count_cpu_time = false;

inline double now_seconds() {
    if (count_cpu_time) {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Seconds spent in `work`.
template <class Work>
double seconds_of(Work&& work) {
    double const start = now_seconds();
    work();
    return now_seconds() - start;
}

// Runs each side once unmeasured (warm caches), then `repetitions` pairs,
// alternating which side goes first. Each side returns its own measurement,
// so it can keep set-up and tear-down out of it.
inline PairedSamples measure_paired(int repetitions, std::function<double()> const& library,
                                    std::function<double()> const& baseline) {
    library();
    baseline();
    PairedSamples samples;
    for (int i = 0; i < repetitions; ++i) {
        if (i % 2 == 0) {
            samples.library.push_back(library());
            samples.baseline.push_back(baseline());
        } else {
            samples.baseline.push_back(baseline());
            samples.library.push_back(library());
        }
    }
    return samples;
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    std::size_t const n = values.size();
    return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0;
}

}  // namespace vexa::bench

#endif  // VEXA_BENCH_PAIRED_H_
