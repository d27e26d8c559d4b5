#include "pair_lookups.h"

#include <limits>

namespace vexa::datastore::common {

namespace {

bool comes_first(StoredRun const& a, StoredRun const& b) {
    return a.unique_timestamp < b.unique_timestamp ||
           (a.unique_timestamp == b.unique_timestamp && a.rowid < b.rowid);
}

RunPairHistory look_up(RunPairBound const& pair, PairLookups& lookups) {
    std::vector<bool> options{false};
    if (pair.option_id.empty()) {
        options.push_back(true);
    }
    RunPairHistory history;
    for (bool const null_option : options) {
        std::optional<std::int64_t> const pass = lookups.last_pass(pair, null_option);
        if (pass && (!history.last_pass || *pass > *history.last_pass)) {
            history.last_pass = pass;
        }
    }
    std::optional<std::int64_t> const bound = pair.after ? pair.after : history.last_pass;
    if (bound && *bound == std::numeric_limits<std::int64_t>::max()) {
        return history;  // nothing can come after the greatest stamp
    }
    std::int64_t const from = bound ? *bound + 1 : std::numeric_limits<std::int64_t>::min();
    std::optional<StoredRun> first;
    for (bool const null_option : options) {
        std::optional<StoredRun> const run = lookups.first_run_from(pair, null_option, from);
        if (run && (!first || comes_first(*run, *first))) {
            first = run;
        }
    }
    if (first) {
        history.first_after = first->unique_timestamp;
        history.first_after_timestamp = first->timestamp;
    }
    return history;
}

}  // namespace

std::vector<RunPairHistory> look_up_pairs(std::vector<RunPairBound> const& pairs,
                                          PairLookups& lookups) {
    std::vector<RunPairHistory> histories;
    histories.reserve(pairs.size());
    for (RunPairBound const& pair : pairs) {
        histories.push_back(look_up(pair, lookups));
    }
    return histories;
}

}  // namespace vexa::datastore::common
