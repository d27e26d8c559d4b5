#include "monitoring/metrics_text.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <optional>

namespace vexa::tool {

namespace {

using datastore::Row;

std::string label_value(std::string const& text) {
    std::string result;
    for (char c : text) {
        if (c == '\\' || c == '"') {
            result += '\\';
            result += c;
        } else if (c == '\n') {
            result += "\\n";
        } else {
            result += c;
        }
    }
    return result;
}

// The shortest text that reads back as the same double.
std::string number(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "+Inf" : "-Inf";
    }
    char text[32];
    auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string(text, end);
}

// A sample per reported cell for which `value` gives a text.
void write_family(HealthGrid const& grid, char const* name, char const* help,
                  std::function<std::optional<std::string>(GridCell const&)> const& value,
                  std::ostream& out) {
    out << "# HELP " << name << ' ' << help << "\n# TYPE " << name << " gauge\n";
    for (std::size_t h = 0; h < grid.hosts.size(); ++h) {
        for (std::size_t p = 0; p < grid.providers.size(); ++p) {
            GridCell const& cell = grid.at(h, p);
            if (cell.row == nullptr) {
                continue;
            }
            if (auto text = value(cell)) {
                Row const& row = *cell.row;
                out << name << "{provider=\"" << label_value(row.Provider) << "\",host=\""
                    << label_value(row.Hostname) << "\",datastore=\""
                    << label_value(row.datastore_source) << "\"} " << *text << '\n';
            }
        }
    }
}

}  // namespace

void write_metrics(HealthGrid const& grid, std::vector<DatastoreUp> const& datastores,
                   std::ostream& out) {
    write_family(
        grid, "vexa_provider_exit_status",
        "Exit status of the latest run of a provider on a host (0: passed).",
        [](GridCell const& cell) { return std::to_string(cell.row->Exit_status); }, out);
    write_family(
        grid, "vexa_provider_last_run_timestamp_seconds",
        "Time of the latest run of a provider on a host, in seconds since the epoch.",
        [](GridCell const& cell) { return std::to_string(cell.row->Timestamp); }, out);
    write_family(
        grid, "vexa_provider_duration_seconds",
        "How long the latest run of a provider on a host took, in seconds.",
        [](GridCell const& cell) { return number(cell.row->Duration); }, out);
    write_family(
        grid, "vexa_provider_failing_since_timestamp_seconds",
        "Time of the first run after the last passing run of a failing provider on a host, in "
        "seconds since the epoch.",
        [&grid](GridCell const& cell) -> std::optional<std::string> {
            auto since = grid.since(cell);
            return since ? std::optional<std::string>(std::to_string(*since)) : std::nullopt;
        },
        out);
    out << "# HELP vexa_datastore_up Whether the datastore opened and answered (1) or not (0).\n"
           "# TYPE vexa_datastore_up gauge\n";
    for (auto const& datastore : datastores) {
        out << "vexa_datastore_up{datastore=\"" << label_value(datastore.name) << "\"} "
            << (datastore.up ? 1 : 0) << '\n';
    }
}

}  // namespace vexa::tool
