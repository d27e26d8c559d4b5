// Retention: removing old rows in short steps, then returning the space.
#ifndef VEXA_SQLITE_PLUGIN_PRUNING_H_
#define VEXA_SQLITE_PLUGIN_PRUNING_H_

#include <chrono>
#include <cstdint>
#include <string>

#include <datastore/operations.h>

#include "fair_mutex.h"
#include "sqlite_calls.h"

namespace vexa::datastore::sqlite_plugin {

// Removes (or, with request.dry_run, counts) the rows of the provider table
// that `request` describes and returns their number. Works in chunks of
// 1,000 rows in rowid order, each found among the next 10,000 rowids at most
// and each its own transaction (outside a batch) taken under `mutex`, with
// the write-ahead log copied back in small steps, so another thread of this
// process waits for one chunk at most, however few rows match. A reader
// elsewhere always sees whole chunks; in WAL mode readers of other
// connections are never blocked at all. Rows stored after the pruning began
// are left to the next one, so writers beside it cannot keep it going.
//
// Then gives the freed pages back to the file system, again in steps. That
// needs auto_vacuum=INCREMENTAL, which files created by this plug-in have;
// an older file keeps its free pages, which later inserts reuse, until a
// full VACUUM (run by hand, since it rewrites the whole file under an
// exclusive lock) converts it.
//
// Between chunks a passive checkpoint copies the log back into the file, so
// that writers beside the pruning do not grow the log without bound.
//
// `db` is read under `mutex` at each step; throws std::runtime_error with
// SQLite's text on an SQL failure (the chunks before it stay removed), "not
// open" when the instance is closed, and moved_file_reason(path) before
// removing anything from a file no longer at `path`.
//
// Each chunk runs under what is left of `time_limit` (zero: none) since the
// call began; running out fails it as within_time_limit() does.
std::uint64_t prune_in_chunks(FairMutex& mutex, Database const& db, std::string const& path,
                              PruneRequest const& request, std::chrono::milliseconds time_limit);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_PRUNING_H_
