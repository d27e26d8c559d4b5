// The baseline of the latest-row reduction: the obvious two-pass hash
// reduction a caller would write by hand.
#ifndef VEXA_BENCH_HASH_REDUCTION_H_
#define VEXA_BENCH_HASH_REDUCTION_H_

#include <vector>

#include <datastore/records.h>

namespace vexa::bench {

using datastore::Row;

// Replaces `latest` with the rows of `merged` that carry the greatest
// Unique_timestamp of their (Provider, Hostname) pair, in order, moving them
// out of `merged` as the library's reduction does.
void plain_latest_rows(std::vector<Row>& merged, std::vector<Row>& latest);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_HASH_REDUCTION_H_
