// The command-line tool's `insert` against the sqlite3 program's `.import`
// of the same records, each in its own process.
#ifndef VEXA_BENCH_IMPORT_BENCH_H_
#define VEXA_BENCH_IMPORT_BENCH_H_

#include <string>
#include <vector>

#include "comparisons.h"
#include "report.h"

namespace vexa::bench {

// Writes the whole workload as JSON Lines and as CSV, then times
// `tool insert FILE.jsonl` (its default datastore under a scratch $HOME)
// against `sqlite3 DB ".import --csv FILE.csv provider_datastore"`, both into
// files whose schema the plug-in laid out. Throws std::runtime_error when a
// program fails or the two tables differ.
std::vector<Figure> json_lines_import(Comparisons const& comparisons, std::string const& tool);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_IMPORT_BENCH_H_
