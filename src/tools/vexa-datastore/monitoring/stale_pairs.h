// Which results are out of date: the "stale" computation shared by the
// commands that watch a cluster.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_STALE_PAIRS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_STALE_PAIRS_H_

#include <cstdint>
#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

// The latest result of one provider on one host.
struct LatestResult {
    std::string provider;
    std::string host;
    std::int64_t timestamp = 0;  // seconds since the epoch (the row's Timestamp)
    std::string datastore;       // where that result is stored
};

// A host and the time of its newest result of any provider.
struct SilentHost {
    std::string host;
    std::int64_t timestamp = 0;  // seconds since the epoch
};

struct Staleness {
    // Pairs whose latest result is older than the cutoff, on hosts that still
    // report something newer; by host, then provider.
    std::vector<LatestResult> stale_pairs;
    // Hosts whose every result is older than the cutoff: they stopped
    // reporting altogether. By host name.
    std::vector<SilentHost> silent_hosts;
};

// The latest result of every provider and host in `rows` (any rows: the
// latest of each pair is found by Unique_timestamp, ties by the later row),
// by host, then provider.
std::vector<LatestResult> latest_results(std::vector<datastore::Row> const& rows);

// Sorts the pairs of `rows` by their latest result against `cutoff`
// (seconds since the epoch): a result is stale when its Timestamp is less
// than `cutoff`.
Staleness find_stale(std::vector<datastore::Row> const& rows, std::int64_t cutoff);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_STALE_PAIRS_H_
