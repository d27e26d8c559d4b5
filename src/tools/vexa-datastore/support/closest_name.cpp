#include "support/closest_name.h"

#include <algorithm>

namespace vexa::tool {

namespace {

std::size_t edit_distance(std::string const& a, std::string const& b) {
    std::vector<std::size_t> previous(b.size() + 1);
    std::vector<std::size_t> current(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        previous[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        current[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            current[j] = std::min({previous[j] + 1, current[j - 1] + 1,
                                   previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
        }
        std::swap(previous, current);
    }
    return previous[b.size()];
}

}  // namespace

std::string closest_name(std::string const& word, std::vector<std::string> const& names) {
    std::size_t const allowed = std::max<std::size_t>(1, word.size() / 3);
    std::string best;
    std::size_t best_distance = allowed + 1;
    for (auto const& name : names) {
        std::size_t distance = edit_distance(word, name);
        if (distance < best_distance) {
            best = name;
            best_distance = distance;
        }
    }
    return best;
}

std::string did_you_mean(std::string const& word, std::vector<std::string> const& names) {
    std::string name = closest_name(word, names);
    return name.empty() ? "" : "; did you mean '" + name + "'?";
}

}  // namespace vexa::tool
