// The style sheet and the script embedded in every status page.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_REPORT_PAGE_ASSETS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_REPORT_PAGE_ASSETS_H_

namespace vexa::tool {

extern char const kReportStyle[];
// Reads the cell details from the JSON element "cells", counts the states
// into #totals (also as data-failed, data-stale, data-never, data-passed),
// each provider's and host's counts, and drives filters, tooltip and the
// grid's keyboard focus; marks "vexa-report-painted" in the page's
// performance timeline once the grid is on screen.
extern char const kReportScript[];

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_REPORT_PAGE_ASSETS_H_
