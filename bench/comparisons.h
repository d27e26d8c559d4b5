// The paired comparisons of the library with its baselines over one
// workload database.
#ifndef VEXA_BENCH_COMPARISONS_H_
#define VEXA_BENCH_COMPARISONS_H_

#include <string>
#include <vector>

#include <datastore/records.h>

#include "report.h"
#include "workload.h"

namespace vexa::bench {

struct Comparisons {
    WorkloadShape shape;
    int repetitions;
    int insert_rows;
    std::string dir;                     // scratch files of the insert figures
    std::string database;                // the workload, with the plug-in's index
    std::string database_without_index;  // its copy without that index

    // select_provider_data against a plain SQLite loop, latest rows and
    // the full selection against the copy without index, and the latest-row
    // reduction against a plain hash reduction. Throws std::runtime_error
    // when the library's rows differ from the baseline's or the workload's.
    std::vector<Figure> reads() const;
    // OP_INSERT through execute_ioctl against a plain SQLite insert loop.
    std::vector<Figure> inserts() const;
};

// Throws std::runtime_error(what) unless `condition` holds: a figure is
// worth nothing when its work went wrong.
void require(bool condition, std::string const& what);

// The baseline read: the rows of `providers` from `file` through a plain
// SQLite connection, stamped with `source`.
void read_plain(std::string const& file, std::vector<std::string> const& providers,
                std::string const& source, std::vector<Row>& rows);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_COMPARISONS_H_
