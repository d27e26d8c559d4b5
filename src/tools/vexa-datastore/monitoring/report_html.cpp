#include "monitoring/report_html.h"

#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include "monitoring/report_page_assets.h"
#include "output/time_text.h"

namespace vexa::tool {

namespace {

using datastore::Row;
using nlohmann::json;

constexpr std::size_t kExcerptBytes = 80;

struct StateLook {
    char const* css;     // the cell's class
    char const* symbol;  // shown in the cell, so colour is not the only signal
    char const* label;
};

StateLook look(CellState state) {
    switch (state) {
        case CellState::failed:
            return {"f", "\u2717", "failed"};
        case CellState::stale:
            return {"s", "\u25f7", "stale"};
        case CellState::never:
            return {"n", "\u2013", "never reported"};
        case CellState::passed:
            return {"p", "\u2713", "passed"};
    }
    return {"", "", ""};
}

std::string escaped(std::string const& text) {
    std::string result;
    for (char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

// The first non-blank line of the output (standard error when standard
// output is blank), cut at a character boundary.
std::string excerpt(Row const& row) {
    std::string const& text = vexa::str::stripws(row.STDOUT).empty() ? row.STDERR : row.STDOUT;
    std::string line;
    for (std::size_t start = 0; start < text.size() && line.empty();) {
        std::size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end;
        line = vexa::str::stripws(text.substr(start, end - start));
        start = end + 1;
    }
    if (line.size() <= kExcerptBytes) {
        return line;
    }
    std::size_t cut = kExcerptBytes;
    while (cut > 0 && (static_cast<unsigned char>(line[cut]) & 0xC0) == 0x80) {
        --cut;
    }
    return line.substr(0, cut) + "\u2026";
}

// What the page's script needs: the hosts in order (failing first), each host's
// cell states as one letter per provider, and per cell null (never
// reported) or [age in seconds, exit status, duration, datastore index,
// excerpt], followed by the age of the first failing run for a result that
// has been failing since a known time. Ages instead of times keep a large
// page small.
json page_data(HealthGrid const& grid, std::int64_t now, std::int64_t stale_after) {
    std::map<std::string, std::size_t> datastore_index;
    json datastores = json::array();
    json states = json::array();
    json details = json::array();
    for (std::size_t h = 0; h < grid.hosts.size(); ++h) {
        std::string letters;
        json cells = json::array();
        for (std::size_t p = 0; p < grid.providers.size(); ++p) {
            auto const& cell = grid.at(h, p);
            letters += look(cell.state).css;
            if (cell.row == nullptr) {
                cells.push_back(nullptr);
                continue;
            }
            auto [entry, added] =
                datastore_index.emplace(cell.row->datastore_source, datastore_index.size());
            if (added) {
                datastores.push_back(cell.row->datastore_source);
            }
            json details_of_cell =
                json::array({now - cell.row->Timestamp, cell.row->Exit_status, cell.row->Duration,
                             entry->second, excerpt(*cell.row)});
            if (auto since = grid.since(cell)) {
                details_of_cell.push_back(now - *since);
            }
            cells.push_back(std::move(details_of_cell));
        }
        states.push_back(std::move(letters));
        details.push_back(std::move(cells));
    }
    return {{"now", now},
            {"staleAfter", stale_after},
            {"providers", grid.providers},
            {"datastores", std::move(datastores)},
            {"hosts", grid.hosts},
            {"states", std::move(states)},
            {"cells", std::move(details)}};
}

// JSON inside a script element: "</" would end the element.
std::string script_safe(std::string text) {
    for (std::size_t at = text.find("</"); at != std::string::npos; at = text.find("</", at)) {
        text.replace(at, 2, "<\\/");
    }
    return text;
}

void write_head(HealthGrid const& grid, std::int64_t now, std::int64_t stale_after,
                std::ostream& out) {
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           // Nothing on the page may reach a network, even if a name held a URL.
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
           "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n"
        << "<title>Cluster health " << escaped(readable_time(now, false)) << "</title>\n<style>\n"
        << kReportStyle << "</style>\n</head>\n<body>\n<header>\n<h1>Cluster health</h1>\n"
        << "<p class=\"meta\">" << grid.hosts.size() << " hosts \u00d7 " << grid.providers.size()
        << " providers, latest results as of " << escaped(readable_time(now, false));
    if (stale_after > 0) {
        out << "; stale after " << stale_after / 60 << " min";
    }
    out << "</p>\n<p id=\"totals\" aria-live=\"polite\"></p>\n<div class=\"filters\">\n"
           "<label>Provider <select id=\"provider\"><option value=\"\">all providers</option>";
    for (auto const& provider : grid.providers) {
        out << "<option>" << escaped(provider) << "</option>";
    }
    out << "</select></label>\n<span id=\"states\" role=\"group\" aria-label=\"State\">State "
           "<button type=\"button\" data-state=\"\" aria-pressed=\"true\">all</button>";
    for (auto state : {CellState::failed, CellState::stale, CellState::never, CellState::passed}) {
        auto const shown = look(state);
        out << "<button type=\"button\" data-state=\"" << shown.css
            << "\" aria-pressed=\"false\"><i class=\"" << shown.css << "\">" << shown.symbol
            << "</i> " << shown.label << "</button>";
    }
    out << "</span>\n<span id=\"shown\"></span>\n</div>\n</header>\n";
}

// The grid's frame; the script fills in the rows that are in view, so that
// a page of 2,000 hosts x 50 providers opens at once.
void write_grid(HealthGrid const& grid, std::ostream& out) {
    out << "<main>\n<table id=\"grid\" role=\"grid\" aria-label=\"Latest result per host and "
           "provider; arrow keys, Page Up and Page Down move between cells\">\n<thead><tr><th "
           "scope=\"col\" class=\"host\">host</th>";
    for (auto const& provider : grid.providers) {
        out << "<th scope=\"col\" class=\"prov\"><span>" << escaped(provider) << "</span></th>";
    }
    out << "<th scope=\"col\" class=\"hc\">per host</th></tr>\n<tr class=\"pc\"><th "
           "scope=\"row\">per provider</th>";
    for (std::size_t p = 0; p <= grid.providers.size(); ++p) {
        out << "<td></td>";
    }
    out << "</tr></thead>\n<tbody></tbody>\n</table>\n";
    if (grid.hosts.empty()) {
        out << "<p>No results stored.</p>\n";
    }
    out << "<noscript>The grid needs JavaScript.</noscript>\n</main>\n";
}

}  // namespace

void write_html_report(HealthGrid const& grid, std::int64_t now, std::int64_t stale_after,
                       std::ostream& out) {
    write_head(grid, now, stale_after, out);
    write_grid(grid, out);
    json const data = page_data(grid, now, stale_after);
    // Provider output is not always valid UTF-8; such bytes become U+FFFD.
    out << "<div id=\"tip\" role=\"tooltip\" hidden></div>\n"
        << "<script type=\"application/json\" id=\"cells\">"
        << script_safe(data.dump(-1, ' ', false, json::error_handler_t::replace))
        << "</script>\n<script>\n"
        << kReportScript << "</script>\n</body>\n</html>\n";
}

}  // namespace vexa::tool
