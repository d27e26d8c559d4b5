// The answer OP_FAILING_SINCE must give, computed the slow way from every
// stored row, and random histories to ask it about.
#ifndef VEXA_TESTS_SUPPORT_RUN_PAIR_HISTORY_H_
#define VEXA_TESTS_SUPPORT_RUN_PAIR_HISTORY_H_

#include <optional>
#include <random>
#include <string>
#include <vector>

#include <datastore/datastore.h>
#include <gtest/gtest.h>

#include "sqlite_datastores.h"

namespace vexa::test {

// The history of `pair` over all of `rows` (as read from the view, so a
// NULL OptionID reads as ""): the greatest passing stamp, and the run with
// the least stamp after `pair.after` (or after that pass; from the first
// run when neither exists), the lowest rowid among equal stamps.
inline datastore::RunPairHistory brute_force_history(std::vector<datastore::Row> const& rows,
                                                     datastore::RunPairBound const& pair) {
    datastore::RunPairHistory history;
    auto const same_pair = [&](datastore::Row const& row) {
        return row.Provider == pair.provider && row.Hostname == pair.hostname &&
               row.OptionID == pair.option_id;
    };
    for (datastore::Row const& row : rows) {
        if (same_pair(row) && row.Exit_status == 0 &&
            (!history.last_pass || row.Unique_timestamp > *history.last_pass)) {
            history.last_pass = row.Unique_timestamp;
        }
    }
    std::optional<std::int64_t> const bound = pair.after ? pair.after : history.last_pass;
    datastore::Row const* first = nullptr;
    for (datastore::Row const& row : rows) {
        if (!same_pair(row) || (bound && row.Unique_timestamp <= *bound)) {
            continue;
        }
        if (first == nullptr || row.Unique_timestamp < first->Unique_timestamp ||
            (row.Unique_timestamp == first->Unique_timestamp && row.rowid < first->rowid)) {
            first = &row;
        }
    }
    if (first != nullptr) {
        history.first_after = first->Unique_timestamp;
        history.first_after_timestamp = first->Timestamp;
    }
    return history;
}

// "last_pass|first_after|timestamp", "-" for nullopt, for comparisons.
inline std::string text_of(datastore::RunPairHistory const& history) {
    auto const text = [](std::optional<std::int64_t> value) {
        return value ? std::to_string(*value) : std::string("-");
    };
    return text(history.last_pass) + "|" + text(history.first_after) + "|" +
           (history.first_after ? std::to_string(history.first_after_timestamp) : "-");
}

inline std::vector<std::string> texts_of(std::vector<datastore::RunPairHistory> const& histories) {
    std::vector<std::string> texts;
    for (datastore::RunPairHistory const& history : histories) {
        texts.push_back(text_of(history));
    }
    return texts;
}

// What the instance `name` answers OP_FAILING_SINCE for `pairs`, as texts.
inline std::vector<std::string> asked_histories(std::string const& name,
                                                std::vector<datastore::RunPairBound> const& pairs) {
    std::vector<datastore::RunPairHistory> histories;
    EXPECT_EQ(control(name, datastore::OP_FAILING_SINCE, &pairs, &histories),
              datastore::DataStoreExtension::OPERATION_SUCCESSFULL);
    EXPECT_EQ(histories.size(), pairs.size());
    return texts_of(histories);
}

// The answers for `pairs` computed from every row of the instance `name`.
inline std::vector<std::string> brute_force_histories(
    std::string const& name, std::vector<datastore::RunPairBound> const& pairs) {
    std::vector<datastore::Row> rows;
    EXPECT_EQ(select_query(name, "SELECT * FROM vexa_1", rows),
              datastore::DataStoreExtension::OPERATION_SUCCESSFULL);
    std::vector<std::string> texts;
    for (datastore::RunPairBound const& pair : pairs) {
        texts.push_back(text_of(brute_force_history(rows, pair)));
    }
    return texts;
}

// Random runs over a few pairs: stamps out of order, negative and repeated
// (a retried run is skipped), several options and the empty one, about a
// third passing; the provider "never" never passes.
class RandomRuns {
  public:
    explicit RandomRuns(unsigned seed) : random_(seed) {}

    datastore::InsertRequest next() {
        datastore::InsertRequest run;
        run.header.Provider = kProviders[pick(kProviders.size())];
        run.header.Hostname = "n" + std::to_string(pick(2));
        run.option_id = kOptions[pick(kOptions.size())];
        run.header.Unique_timestamp = static_cast<std::int64_t>(pick(60)) - 30;
        run.header.Exit_status =
            run.header.Provider == "never" || pick(3) != 0 ? 1 + static_cast<int>(pick(2)) : 0;
        run.header.Timestamp = 1'700'000'000 + static_cast<std::int64_t>(pick(1000));
        run.stdout_text = "run";
        return run;
    }

    // Every pair the runs may have, an unknown one last, each asked with
    // no bound and with a random one.
    std::vector<datastore::RunPairBound> pairs() {
        std::vector<datastore::RunPairBound> asked;
        for (std::string const& provider : kProviders) {
            for (std::string const host : {"n0", "n1"}) {
                for (std::string const& option : kOptions) {
                    asked.push_back({provider, host, option, std::nullopt});
                    asked.push_back(
                        {provider, host, option, static_cast<std::int64_t>(pick(70)) - 35});
                }
            }
        }
        asked.push_back({"ghost", "n0", "", std::nullopt});
        return asked;
    }

    std::size_t pick(std::size_t n) { return random_() % n; }

  private:
    inline static std::vector<std::string> const kProviders = {"cpu", "mem", "never"};
    inline static std::vector<std::string> const kOptions = {"o0", "o1", ""};
    std::mt19937 random_;
};

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_RUN_PAIR_HISTORY_H_
