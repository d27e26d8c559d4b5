// The benchmark's table: one line per figure with the library's median,
// the baseline's median, the median paired ratio, the target and the verdict.
#ifndef VEXA_BENCH_REPORT_H_
#define VEXA_BENCH_REPORT_H_

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "paired.h"

namespace vexa::bench {

struct Figure {
    enum class Ratio { library_over_baseline, baseline_over_library };
    enum class Goal { at_most, at_least };

    std::string name;
    std::string unit;
    double library = 0;   // median, in `unit`
    double baseline = 0;  // median, in `unit`; unused for an absolute figure
    double ratio = 0;     // median of the paired ratios, or `library` when absolute
    Goal goal = Goal::at_most;
    double target = 0;
    bool absolute = false;  // judged on `library` alone

    bool passed() const { return goal == Goal::at_most ? ratio <= target : ratio >= target; }
};

// A figure from paired samples, each converted to `unit` by `to_unit`
// before medians and per-repetition ratios are taken.
Figure paired_figure(std::string name, std::string unit, PairedSamples const& samples,
                     std::function<double(double)> const& to_unit, Figure::Ratio ratio,
                     Figure::Goal goal, double target);

// A figure judged on the library's median alone.
Figure absolute_figure(std::string name, std::string unit, std::vector<double> const& values,
                       Figure::Goal goal, double target);

// Prints the table; returns the number of figures that miss their target.
int print_table(std::ostream& out, std::vector<Figure> const& figures);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_REPORT_H_
