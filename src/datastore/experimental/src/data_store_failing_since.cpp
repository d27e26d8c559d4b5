// The front end of "failing since": each datastore holding provider data is
// asked about the failing pairs, and their answers merged as if all runs
// were in one datastore.
#include <datastore/failing_since.h>

#include <map>
#include <memory>
#include <tuple>
#include <utility>

#include <datastore/controller.h>
#include <datastore/extension.h>
#include <datastore/operations.h>
#include <datastore/parse_utility.h>

#include "failure_reasons.h"

namespace vexa::datastore {

namespace {

using Handle = std::weak_ptr<DataStoreExtension>;

// One datastore's answer, one history per pair asked in the first phase.
struct Answer {
    std::string name;
    Handle handle;
    std::vector<RunPairHistory> histories;
};

// Asks `handle` OP_FAILING_SINCE for `pairs`; a datastore that does not
// answer is logged and filed in `unsupported` or `failures`. Whether it
// answered, one history per pair.
bool ask(DataStoreController& controller, std::string const& name, Handle const& handle,
         std::vector<RunPairBound> const& pairs, std::vector<RunPairHistory>& histories,
         std::vector<DatastoreFailure>* failures, std::vector<std::string>* unsupported) {
    return detail::control_and_file(controller, name, handle, OP_FAILING_SINCE, &pairs, &histories,
                                    failures, unsupported) &&
           histories.size() == pairs.size();
}

// The distinct pairs of the failing rows of `latest`, and for every row the
// index of its pair (none for a passing row).
std::vector<RunPairBound> failing_pairs(std::vector<Row> const& latest,
                                        std::vector<std::optional<std::size_t>>& pair_of_row) {
    std::map<std::tuple<std::string, std::string, std::string>, std::size_t> index;
    std::vector<RunPairBound> pairs;
    pair_of_row.assign(latest.size(), std::nullopt);
    for (std::size_t row = 0; row < latest.size(); ++row) {
        Row const& r = latest[row];
        if (r.Exit_status == 0) {
            continue;
        }
        auto const [slot, added] =
            index.try_emplace({r.Provider, r.Hostname, r.OptionID}, pairs.size());
        if (added) {
            pairs.push_back({r.Provider, r.Hostname, r.OptionID, std::nullopt});
        }
        pair_of_row[row] = slot->second;
    }
    return pairs;
}

// The greatest last pass of pair `p` over every answer.
std::optional<std::int64_t> last_pass_of(std::vector<Answer> const& answers, std::size_t p) {
    std::optional<std::int64_t> last;
    for (Answer const& answer : answers) {
        std::optional<std::int64_t> const pass = answer.histories[p].last_pass;
        if (pass && (!last || *pass > *last)) {
            last = pass;
        }
    }
    return last;
}

// Asks again, with the bound `last` of each pair, every datastore whose own
// answer stopped before it: its first run after its own last pass (or its
// very first run) may lie at or below the overall last pass. A datastore
// failing now is filed as in the first phase and its answer for those pairs
// dropped.
void ask_past_last_passes(DataStoreController& controller, std::vector<Answer>& answers,
                          std::vector<RunPairBound> const& pairs,
                          std::vector<std::optional<std::int64_t>> const& last,
                          std::vector<DatastoreFailure>* failures,
                          std::vector<std::string>* unsupported) {
    for (Answer& answer : answers) {
        std::vector<RunPairBound> again;
        std::vector<std::size_t> which;
        for (std::size_t p = 0; p < pairs.size(); ++p) {
            RunPairHistory const& own = answer.histories[p];
            bool const behind = last[p] && (!own.last_pass || *own.last_pass < *last[p]);
            if (behind && !(own.first_after && *own.first_after > *last[p])) {
                again.push_back(pairs[p]);
                again.back().after = last[p];
                which.push_back(p);
            }
        }
        if (again.empty()) {
            continue;
        }
        std::vector<RunPairHistory> histories;
        bool const answered =
            ask(controller, answer.name, answer.handle, again, histories, failures, unsupported);
        for (std::size_t i = 0; i < which.size(); ++i) {
            RunPairHistory& own = answer.histories[which[i]];
            own.first_after = answered ? histories[i].first_after : std::nullopt;
            own.first_after_timestamp = answered ? histories[i].first_after_timestamp : 0;
        }
    }
}

}  // namespace

bool failing_since(std::vector<Row> const& latest, std::vector<std::optional<std::int64_t>>& since,
                   std::vector<DatastoreFailure>* failures,
                   std::vector<std::string>* unsupported) try {
    if (failures != nullptr) {
        failures->clear();
    }
    if (unsupported != nullptr) {
        unsupported->clear();
    }
    since.assign(latest.size(), std::nullopt);
    std::vector<std::optional<std::size_t>> pair_of_row;
    std::vector<RunPairBound> const pairs = failing_pairs(latest, pair_of_row);
    if (pairs.empty()) {
        return true;
    }
    std::shared_ptr<DataStoreController> const controller =
        DataStoreController::createDataStoreController().lock();
    if (!controller) {
        return false;
    }
    std::vector<Answer> answers;
    for (DataStoreInstance const& datastore : DataStoreParseUtility::get_datastore_vector()) {
        if (!datastore.first.source_types.test(data)) {
            continue;
        }
        Answer answer{datastore.first.instance_name, datastore.second, {}};
        if (ask(*controller, answer.name, answer.handle, pairs, answer.histories, failures,
                unsupported)) {
            answers.push_back(std::move(answer));
        }
    }
    if (answers.empty()) {
        return false;
    }
    std::vector<std::optional<std::int64_t>> last(pairs.size());
    for (std::size_t p = 0; p < pairs.size(); ++p) {
        last[p] = last_pass_of(answers, p);
    }
    ask_past_last_passes(*controller, answers, pairs, last, failures, unsupported);
    for (std::size_t row = 0; row < latest.size(); ++row) {
        if (!pair_of_row[row]) {
            continue;
        }
        std::size_t const p = *pair_of_row[row];
        RunPairHistory const* first = nullptr;
        for (Answer const& answer : answers) {
            RunPairHistory const& own = answer.histories[p];
            if (own.first_after && (!last[p] || *own.first_after > *last[p]) &&
                (first == nullptr || *own.first_after < *first->first_after)) {
                first = &own;
            }
        }
        // No run after the last pass: a passing run shares the latest stamp.
        since[row] = first != nullptr ? first->first_after_timestamp : latest[row].Timestamp;
    }
    return true;
} catch (...) {
    // Only allocation fails outside the per-datastore step.
    return false;
}

}  // namespace vexa::datastore
