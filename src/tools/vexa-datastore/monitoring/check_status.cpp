#include "monitoring/check_status.h"

#include <algorithm>

#include "output/time_text.h"

namespace vexa::tool {

namespace {

char const* status_word(CheckStatus status) {
    switch (status) {
        case check_ok:
            return "OK";
        case check_warning:
            return "WARNING";
        case check_critical:
            return "CRITICAL";
        case check_unknown:
            return "UNKNOWN";
    }
    return "UNKNOWN";
}

std::string status_line(CheckStatus status, std::string const& text) {
    return std::string("VEXA ") + status_word(status) + " - " + text;
}

// "disk_usage (exit 2, failing since 2026-11-25 10:00:00 UTC), memory (exit
// 1)" or "cpu_load (last 2026-11-22 04:21:57), ntp_sync (never reported)": the
// cells of host `h` in `state`; "failing since" where it is known.
std::string cells_text(HealthGrid const& grid, std::size_t h, CellState state) {
    std::string text;
    for (std::size_t p = 0; p < grid.providers.size(); ++p) {
        auto const& cell = grid.at(h, p);
        bool stale = state == CellState::stale && cell.state == CellState::never;
        if (cell.state != state && !stale) {
            continue;
        }
        text += (text.empty() ? "" : ", ") + grid.providers[p] + " (";
        if (cell.row == nullptr) {
            text += "never reported)";
        } else if (state == CellState::failed) {
            text += "exit " + std::to_string(cell.row->Exit_status);
            if (auto since = grid.since(cell)) {
                text += ", failing since " + readable_time(*since, false);
            }
            text += ")";
        } else {
            text += "last " + readable_time(cell.row->Timestamp, false) + ")";
        }
    }
    return text;
}

}  // namespace

std::string unknown_line(std::string const& reason) {
    // A monitoring system reads the first line only: a reason broken over
    // lines by a driver is joined.
    std::string line = status_line(check_unknown, reason);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
    return line;
}

CheckVerdict check_health(HealthGrid const& grid, CheckThresholds thresholds) {
    CheckVerdict verdict;
    if (grid.hosts.empty()) {
        verdict.lines.push_back(unknown_line("no results stored"));
        return verdict;
    }
    std::vector<std::string> failed_lines;
    std::vector<std::string> stale_lines;
    for (std::size_t h = 0; h < grid.hosts.size(); ++h) {
        auto failed = cells_text(grid, h, CellState::failed);
        if (!failed.empty()) {
            failed_lines.push_back(grid.hosts[h] + " failed: " + failed);
        }
        auto stale = cells_text(grid, h, CellState::stale);
        if (!stale.empty()) {
            stale_lines.push_back(grid.hosts[h] + " stale: " + stale);
        }
    }
    auto const failed = static_cast<long>(failed_lines.size());
    auto const stale = static_cast<long>(stale_lines.size());
    auto const hosts = grid.hosts.size();
    verdict.status = failed > thresholds.crit                ? check_critical
                     : failed > thresholds.warn || stale > 0 ? check_warning
                                                             : check_ok;
    std::string text = failed == 0 && stale == 0
                           ? std::to_string(hosts) + " hosts passed"
                           : std::to_string(failed) + " of " + std::to_string(hosts) +
                                 " hosts failed, " + std::to_string(stale) + " stale";
    verdict.lines.push_back(status_line(verdict.status, text) +
                            " | failed=" + std::to_string(failed) +
                            " stale=" + std::to_string(stale) + " hosts=" + std::to_string(hosts));
    verdict.lines.insert(verdict.lines.end(), failed_lines.begin(), failed_lines.end());
    verdict.lines.insert(verdict.lines.end(), stale_lines.begin(), stale_lines.end());
    return verdict;
}

}  // namespace vexa::tool
