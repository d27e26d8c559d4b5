#include "report.h"

#include <cstdio>

namespace vexa::bench {

namespace {

std::string formatted(double value) {
    char text[32];
    std::snprintf(text, sizeof text, value >= 1000 ? "%.0f" : value >= 10 ? "%.1f" : "%.3f", value);
    return text;
}

std::string target_text(Figure const& figure) {
    std::string text = figure.goal == Figure::Goal::at_most ? "<= " : ">= ";
    char value[32];
    std::snprintf(value, sizeof value, figure.absolute ? "%.0f " : "%.2f x", figure.target);
    return text + value + (figure.absolute ? figure.unit : "");
}

}  // namespace

Figure paired_figure(std::string name, std::string unit, PairedSamples const& samples,
                     std::function<double(double)> const& to_unit, Figure::Ratio ratio,
                     Figure::Goal goal, double target) {
    std::vector<double> library;
    std::vector<double> baseline;
    std::vector<double> ratios;
    for (std::size_t i = 0; i < samples.library.size(); ++i) {
        library.push_back(to_unit(samples.library[i]));
        baseline.push_back(to_unit(samples.baseline[i]));
        ratios.push_back(ratio == Figure::Ratio::library_over_baseline
                             ? library.back() / baseline.back()
                             : baseline.back() / library.back());
    }
    Figure figure;
    figure.name = std::move(name);
    figure.unit = std::move(unit);
    figure.library = median(library);
    figure.baseline = median(baseline);
    figure.ratio = median(ratios);
    figure.goal = goal;
    figure.target = target;
    return figure;
}

Figure absolute_figure(std::string name, std::string unit, std::vector<double> const& values,
                       Figure::Goal goal, double target) {
    Figure figure;
    figure.name = std::move(name);
    figure.unit = std::move(unit);
    figure.library = median(values);
    figure.ratio = figure.library;
    figure.goal = goal;
    figure.target = target;
    figure.absolute = true;
    return figure;
}

int print_table(std::ostream& out, std::vector<Figure> const& figures) {
    char line[256];
    std::snprintf(line, sizeof line, "%-58s %-7s %10s %10s %7s %16s  %s\n", "figure", "unit",
                  "library", "baseline", "ratio", "target", "result");
    out << line << std::string(118, '-') << '\n';
    int misses = 0;
    for (Figure const& f : figures) {
        misses += f.passed() ? 0 : 1;
        std::snprintf(line, sizeof line, "%-58s %-7s %10s %10s %7s %16s  %s\n", f.name.c_str(),
                      f.unit.c_str(), formatted(f.library).c_str(),
                      f.absolute ? "-" : formatted(f.baseline).c_str(),
                      f.absolute ? "-" : formatted(f.ratio).c_str(), target_text(f).c_str(),
                      f.passed() ? "PASS" : "MISS");
        out << line;
    }
    return misses;
}

}  // namespace vexa::bench
