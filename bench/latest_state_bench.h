// Figures of the SQLite plug-in's latest-row state, each against a baseline
// measured in the same run: the latest rows over a long history against a
// short one, against the composed query, since when the failing pairs have
// been failing over a long history against a short one, and the price of
// the state's triggers on inserts, one per call and in a batch.
#ifndef VEXA_BENCH_LATEST_STATE_BENCH_H_
#define VEXA_BENCH_LATEST_STATE_BENCH_H_

#include <string>
#include <vector>

#include "report.h"

namespace vexa::bench {

struct LatestStateBench {
    std::string dir;  // scratch directory for the database files
    int hosts = 100;  // pairs: hosts x providers x 3 options, fixed
    int providers = 10;
    int short_runs = 10;  // runs of history per pair
    int long_runs = 1000;
    int insert_rows = 5000;  // rows per insert measurement
    int repetitions = 5;

    // Builds the files, measures, and removes the files. Throws
    // std::runtime_error when a database step fails.
    std::vector<Figure> figures() const;
};

}  // namespace vexa::bench

#endif  // VEXA_BENCH_LATEST_STATE_BENCH_H_
