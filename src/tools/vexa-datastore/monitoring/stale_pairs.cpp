#include "monitoring/stale_pairs.h"

#include <algorithm>
#include <map>
#include <utility>

namespace vexa::tool {

std::vector<LatestResult> latest_results(std::vector<datastore::Row> const& rows) {
    // Keyed by (host, provider), so the result comes out in that order.
    std::map<std::pair<std::string, std::string>, datastore::Row const*> latest;
    for (auto const& row : rows) {
        auto& slot = latest[{row.Hostname, row.Provider}];
        if (slot == nullptr || row.Unique_timestamp >= slot->Unique_timestamp) {
            slot = &row;
        }
    }
    std::vector<LatestResult> results;
    results.reserve(latest.size());
    for (auto const& [key, row] : latest) {
        results.push_back({row->Provider, row->Hostname, row->Timestamp, row->datastore_source});
    }
    return results;
}

Staleness find_stale(std::vector<datastore::Row> const& rows, std::int64_t cutoff) {
    auto latest = latest_results(rows);
    std::map<std::string, std::int64_t> newest_of_host;
    for (auto const& result : latest) {
        auto [entry, added] = newest_of_host.emplace(result.host, result.timestamp);
        if (!added) {
            entry->second = std::max(entry->second, result.timestamp);
        }
    }
    Staleness staleness;
    for (auto const& [host, newest] : newest_of_host) {
        if (newest < cutoff) {
            staleness.silent_hosts.push_back({host, newest});
        }
    }
    for (auto& result : latest) {
        if (result.timestamp < cutoff && newest_of_host.at(result.host) >= cutoff) {
            staleness.stale_pairs.push_back(std::move(result));
        }
    }
    return staleness;
}

}  // namespace vexa::tool
