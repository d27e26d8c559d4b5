// The style sheet and the script embedded in every status page: the bytes of
// report_page.css and report_page.js beside this header, built into the
// program (see embed_file.cmake).
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_REPORT_PAGE_ASSETS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_REPORT_PAGE_ASSETS_H_

namespace vexa::tool {

extern char const kReportStyle[];  // report_page.css
// Reads the cell details from the JSON element "cells", counts the states
// into #totals (also as data-failed, data-stale, data-never, data-passed),
// each provider's and host's counts, and drives filters, tooltip and the
// grid's keyboard focus; marks "vexa-report-painted" in the page's
// performance timeline once the grid is on screen.
extern char const kReportScript[];  // report_page.js

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_REPORT_PAGE_ASSETS_H_
