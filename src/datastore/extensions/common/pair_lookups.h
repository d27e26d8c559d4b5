// What OP_FAILING_SINCE finds of each pair asked, from two lookups a plug-in
// makes on its database: the pair's last passing run and its first run from
// a given stamp on.
#ifndef VEXA_PLUGIN_COMMON_PAIR_LOOKUPS_H_
#define VEXA_PLUGIN_COMMON_PAIR_LOOKUPS_H_

#include <cstdint>
#include <optional>
#include <vector>

#include <datastore/failing_since.h>

namespace vexa::datastore::common {

// One stored run: its Unique_timestamp, rowid and Timestamp.
struct StoredRun {
    std::int64_t unique_timestamp = 0;
    std::int64_t rowid = 0;
    std::int64_t timestamp = 0;
};

// The two lookups, made with the statements last_pass_query() and
// first_run_from_query() of statements.h. `null_option` asks for the rows
// of the pair whose OptionID is NULL instead of pair.option_id. Failures
// throw std::runtime_error with the back end's own words.
class PairLookups {
  public:
    virtual ~PairLookups() = default;
    // The greatest Unique_timestamp of the pair's passing runs.
    virtual std::optional<std::int64_t> last_pass(RunPairBound const& pair, bool null_option) = 0;
    // The run with the least Unique_timestamp not below `from`, the first
    // stored among equal stamps.
    virtual std::optional<StoredRun> first_run_from(RunPairBound const& pair, bool null_option,
                                                    std::int64_t from) = 0;
};

// The history of every pair of `pairs`, in order, through `lookups`. An
// empty option_id stands for both an empty OptionID and a NULL one, since a
// Row reads both as "": the two are looked up and their runs taken together.
std::vector<RunPairHistory> look_up_pairs(std::vector<RunPairBound> const& pairs,
                                          PairLookups& lookups);

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_PAIR_LOOKUPS_H_
