#include "hash_reduction.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>

namespace vexa::bench {

void plain_latest_rows(std::vector<Row>& merged, std::vector<Row>& latest) {
    std::unordered_map<std::string, std::unordered_map<std::string, std::int64_t>> greatest;
    for (Row const& row : merged) {
        auto& hosts = greatest[row.Provider];
        auto [slot, inserted] = hosts.emplace(row.Hostname, row.Unique_timestamp);
        if (!inserted && row.Unique_timestamp > slot->second) {
            slot->second = row.Unique_timestamp;
        }
    }
    latest.clear();
    for (Row& row : merged) {
        if (row.Unique_timestamp == greatest[row.Provider][row.Hostname]) {
            latest.push_back(std::move(row));
        }
    }
}

}  // namespace vexa::bench
