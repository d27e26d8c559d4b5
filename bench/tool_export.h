// The tool's export of every row (`vexa-datastore --format jsonl select`),
// run as a user runs it, its peak resident memory and time measured.
#ifndef VEXA_BENCH_TOOL_EXPORT_H_
#define VEXA_BENCH_TOOL_EXPORT_H_

#include <string>
#include <vector>

#include "report.h"

namespace vexa::bench {

// One datastore of the tool's group document: a plug-in file of the build
// tree's datastore/quarn64 and its instance's configuration.
struct ToolDatastore {
    std::string name;
    std::string plugin;  // "libsqlite.so" or "libodbc.so"
    std::string type;    // "sqlite3" or "odbc"
    std::string source_parameters;
};

// An SQLite datastore holding no rows, its file `file` laid out by the
// plug-in.
ToolDatastore empty_sqlite_datastore(std::string const& file);

// Writes a group document of `datastores` (and a configuration file per
// instance) into `dir`; returns its path.
std::string write_group_document(std::string const& dir,
                                 std::vector<ToolDatastore> const& datastores);

// Three figures of `tool --format jsonl select` of `rows` rows, each run
// `repetitions` times: the streamed export (`group`) against the same
// export read whole (`group_with_empty`, the same datastore beside an empty
// one, with --sort time: rows of several datastores are merged whole before
// they are ordered), in peak memory (absolute target: under 64 MiB) and in
// time (at least as fast), and the streamed export ordered by time in the
// database. `backend` names the back end in the figures. The peaks are the
// tool's own, measured by /usr/bin/time. Throws std::runtime_error when a
// run fails or prints another number of lines.
std::vector<Figure> tool_export_figures(std::string const& tool, std::string const& backend,
                                        std::string const& group,
                                        std::string const& group_with_empty, std::size_t rows,
                                        int repetitions, std::string const& dir);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_TOOL_EXPORT_H_
