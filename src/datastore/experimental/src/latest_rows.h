// The reduction of merged rows to the latest record per provider and host.
// Private to the library; a benchmark compiles latest_rows.cpp on its own.
#ifndef VEXA_DATASTORE_EXPERIMENTAL_SRC_LATEST_ROWS_H_
#define VEXA_DATASTORE_EXPERIMENTAL_SRC_LATEST_ROWS_H_

#include <vector>

#include <datastore/records.h>

namespace vexa::datastore::detail {

// Replaces `latest` with the rows of `merged` whose Unique_timestamp
// (compared as signed) is the greatest of their (Provider, Hostname) pair,
// in the order of `merged`. Every row carrying that greatest stamp is kept,
// so one pair may yield several rows. The kept rows are moved out of
// `merged`, which the caller discards afterwards; `latest` must not be
// `merged`.
//   merged: (p,h,5) (p,h,9) (q,h,1) (p,h,9)  ->  latest: (p,h,9) (q,h,1) (p,h,9)
void keep_latest_rows(std::vector<Row>& merged, std::vector<Row>& latest);

}  // namespace vexa::datastore::detail

#endif  // VEXA_DATASTORE_EXPERIMENTAL_SRC_LATEST_ROWS_H_
