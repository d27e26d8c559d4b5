#include "latest_rows.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace vexa::datastore::detail {

namespace {

// Keys view the strings of the merged rows, which outlive the table.
using HostStamps = std::unordered_map<std::string_view, std::int64_t>;
using ProviderStamps = std::unordered_map<std::string_view, HostStamps>;

}  // namespace

void keep_latest_rows(std::vector<Row>& merged, std::vector<Row>& latest) {
    // First pass: the greatest stamp per provider, then host. Each row keeps
    // a pointer to its pair's stamp (map nodes never move), so the second
    // pass compares without hashing again.
    ProviderStamps table;
    std::vector<std::int64_t const*> stamp_of_row;
    stamp_of_row.reserve(merged.size());
    HostStamps* hosts = nullptr;
    std::string_view hosts_provider;
    for (Row const& row : merged) {
        // Rows of one provider usually come together: skip the outer lookup.
        if (hosts == nullptr || row.Provider != hosts_provider) {
            hosts_provider = row.Provider;
            hosts = &table[hosts_provider];
        }
        auto [slot, inserted] = hosts->try_emplace(row.Hostname, row.Unique_timestamp);
        if (!inserted && row.Unique_timestamp > slot->second) {
            slot->second = row.Unique_timestamp;
        }
        stamp_of_row.push_back(&slot->second);
    }

    // Second pass: count the survivors, then move each out. The table's keys
    // view strings that moving empties, but it is no longer searched.
    std::size_t survivors = 0;
    for (std::size_t i = 0; i < merged.size(); ++i) {
        survivors += merged[i].Unique_timestamp == *stamp_of_row[i] ? 1 : 0;
    }
    latest.clear();
    latest.reserve(survivors);
    for (std::size_t i = 0; i < merged.size(); ++i) {
        if (merged[i].Unique_timestamp == *stamp_of_row[i]) {
            latest.push_back(std::move(merged[i]));
        }
    }
}

}  // namespace vexa::datastore::detail
