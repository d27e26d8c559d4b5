#include "monitoring/health_grid.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <numeric>
#include <string_view>

namespace vexa::tool {

using datastore::Row;

namespace {

// Whether `a` comes before `b` with runs of digits compared as numbers.
bool natural_less(std::string const& a, std::string const& b) {
    auto digit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (digit(a[i]) && digit(b[j])) {
            std::size_t i_end = a.find_first_not_of("0123456789", i);
            std::size_t j_end = b.find_first_not_of("0123456789", j);
            i_end = i_end == std::string::npos ? a.size() : i_end;
            j_end = j_end == std::string::npos ? b.size() : j_end;
            // Leading zeros do not make a number greater.
            std::size_t i_first = std::min(a.find_first_not_of('0', i), i_end);
            std::size_t j_first = std::min(b.find_first_not_of('0', j), j_end);
            std::string_view x(a.data() + i_first, i_end - i_first);
            std::string_view y(b.data() + j_first, j_end - j_first);
            if (x.size() != y.size()) {
                return x.size() < y.size();
            }
            if (x != y) {
                return x < y;
            }
            i = i_end;
            j = j_end;
        } else {
            if (a[i] != b[j]) {
                return a[i] < b[j];
            }
            ++i;
            ++j;
        }
    }
    if (a.size() - i != b.size() - j) {
        return a.size() - i < b.size() - j;
    }
    return a < b;  // "node01" and "node1" still have an order
}

CellState state_of(Row const& row, std::int64_t now, std::int64_t stale_after) {
    if (stale_after > 0 && row.Timestamp < now - stale_after) {
        return CellState::stale;
    }
    return row.Exit_status == 0 ? CellState::passed : CellState::failed;
}

}  // namespace

HealthGrid make_health_grid(std::vector<Row> latest_rows, std::vector<std::string> providers,
                            std::int64_t now, std::int64_t stale_after) {
    HealthGrid grid;
    std::sort(providers.begin(), providers.end());
    providers.erase(std::unique(providers.begin(), providers.end()), providers.end());
    grid.providers = std::move(providers);
    grid.rows = std::move(latest_rows);

    std::map<std::string, std::size_t> provider_index;
    for (std::size_t p = 0; p < grid.providers.size(); ++p) {
        provider_index[grid.providers[p]] = p;
    }
    // Cells of each host by name, before the hosts are ordered.
    std::map<std::string, std::vector<GridCell>> by_host;
    for (auto const& row : grid.rows) {
        auto found = provider_index.find(row.Provider);
        if (found == provider_index.end()) {
            continue;
        }
        auto& cells = by_host[row.Hostname];
        cells.resize(grid.providers.size());
        auto& cell = cells[found->second];
        CellState state = state_of(row, now, stale_after);
        if (cell.row == nullptr || state < cell.state) {
            cell = GridCell{state, &row};
        }
    }

    std::vector<std::string> names;
    for (auto const& entry : by_host) {
        names.push_back(entry.first);
    }
    auto worst = [&](std::string const& host) {
        auto const& cells = by_host.at(host);
        return std::accumulate(
            cells.begin(), cells.end(), CellState::passed,
            [](CellState so_far, GridCell const& cell) { return std::min(so_far, cell.state); });
    };
    std::map<std::string, CellState> host_state;
    for (auto const& name : names) {
        host_state[name] = worst(name);
    }
    std::sort(names.begin(), names.end(), [&](std::string const& a, std::string const& b) {
        auto x = host_state.at(a);
        auto y = host_state.at(b);
        return x != y ? x < y : natural_less(a, b);
    });
    for (auto& name : names) {
        auto& cells = by_host.at(name);
        grid.cells.insert(grid.cells.end(), cells.begin(), cells.end());
        grid.hosts.push_back(std::move(name));
    }
    return grid;
}

}  // namespace vexa::tool
