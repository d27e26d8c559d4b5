// The query planner's statistics of the provider table (sqlite_stat1).
//
// Without them SQLite takes any equality on Provider for selective and walks
// the latest-row index even when the providers asked for cover most of the
// table, which is several times slower than reading the table straight
// through; with them it chooses the scan there and the index elsewhere.
#ifndef VEXA_SQLITE_PLUGIN_PLANNER_STATISTICS_H_
#define VEXA_SQLITE_PLUGIN_PLANNER_STATISTICS_H_

#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

// Analyses the provider table when it holds rows and has never been
// analysed, or when its row count has changed by more than a factor of two
// since. The statistics only steer the planner, so a failure (another
// writer holding the lock too long, say) is ignored.
void refresh_planner_statistics(::sqlite3* db) noexcept;

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_PLANNER_STATISTICS_H_
