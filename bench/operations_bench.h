// Figures of the project's own operations: batched inserts against a plain
// SQLite transaction, and pruning a tenth of the workload with a reader
// running beside it.
#ifndef VEXA_BENCH_OPERATIONS_BENCH_H_
#define VEXA_BENCH_OPERATIONS_BENCH_H_

#include <vector>

#include "comparisons.h"
#include "report.h"

namespace vexa::bench {

// OP_INSERT of `insert_rows` rows inside one OP_BEGIN_BATCH/OP_COMMIT_BATCH,
// every call through execute_ioctl, against a plain loop over one prepared
// INSERT in one transaction. Throws std::runtime_error when an operation fails.
std::vector<Figure> batched_inserts(Comparisons const& comparisons);

// OP_PRUNE of the oldest tenth of a copy of the workload (through
// execute_ioctl) against one plain DELETE and a full incremental vacuum,
// and the longest OP_GET_LATEST_ROWS call of a thread reading the same
// instance meanwhile; then, pruning again beside 16 threads inserting into
// the same instance, their longest OP_INSERT and the peak size of the
// write-ahead log; then that peak again beside one writer on a connection of
// its own (as another process's). Throws std::runtime_error when the count
// removed is not the tenth, or a read or an insert fails.
std::vector<Figure> pruning(Comparisons const& comparisons);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_OPERATIONS_BENCH_H_
