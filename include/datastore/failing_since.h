// Since when a provider has been failing on a host: the Timestamp of the
// first run after its last passing run, found with index lookups per pair
// (never a scan of the history), and exact when runs arrive out of order
// since runs are ordered by Unique_timestamp, not by arrival.
//
// OP_FAILING_SINCE (operations.h) asks one datastore; failing_since() asks
// every datastore holding provider data and merges their answers, so that a
// pair whose runs are spread over several datastores is answered as if they
// were in one. Thread safety: as front_end.h.
#ifndef VEXA_DATASTORE_FAILING_SINCE_H_
#define VEXA_DATASTORE_FAILING_SINCE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <datastore/export.h>
#include <datastore/failures.h>
#include <datastore/records.h>

namespace vexa::datastore {

// One provider, host and option that OP_FAILING_SINCE looks up. `after` is
// the Unique_timestamp after which the first run is wanted; nullopt means
// after the pair's last passing run in this datastore, or from its very
// first run when none of them passed.
struct RunPairBound {
    std::string provider;
    std::string hostname;
    std::string option_id;
    std::optional<std::int64_t> after;
};

// What one datastore holds of a pair: the greatest Unique_timestamp of its
// passing runs (Exit_status 0), and the run with the least Unique_timestamp
// after the bound (its Unique_timestamp and its Timestamp). Either is
// nullopt when there is no such run.
struct RunPairHistory {
    std::optional<std::int64_t> last_pass;
    std::optional<std::int64_t> first_after;
    std::int64_t first_after_timestamp = 0;
};

// For each row of `latest` (latest rows as get_latest_rows_provider_hosts_data
// gives them), in the same order, `since` (replaced) gets the Timestamp of
// the first run of its Provider, Hostname and OptionID after the last run
// that passed, over every datastore that holds provider data: nullopt for a
// row that passed (Exit_status 0). A failing row whose pair no datastore
// could look up keeps nullopt too. The latest row itself is the fallback
// when a passing run shares its Unique_timestamp. Datastores that answer 512
// go to `unsupported`, those that fail to `failures`, as in operations.h
// (both cleared first when given). True when at least one datastore
// answered, or when no row failed (then nobody is asked).
VEXA_DATASTORE_EXPORT bool failing_since(std::vector<Row> const& latest,
                                         std::vector<std::optional<std::int64_t>>& since,
                                         std::vector<DatastoreFailure>* failures = nullptr,
                                         std::vector<std::string>* unsupported = nullptr);

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_FAILING_SINCE_H_
