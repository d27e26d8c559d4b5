// Workload records written out as lines of the bulk loaders' inputs, column
// by column from the table of record columns.
#ifndef VEXA_BENCH_RECORD_LINES_H_
#define VEXA_BENCH_RECORD_LINES_H_

#include <cstddef>
#include <string>

#include <datastore/records.h>
#include <nlohmann/json.hpp>

namespace vexa::bench {

// The columns of `row` from column `first` on (0 with rowid,
// datastore::first_stored_column without) as one CSV line ending in "\n":
// texts double-quoted, node names joined with ",", Encoding as its number,
// Duration as `duration` writes it.
std::string csv_line(datastore::Row const& row, std::size_t first, std::string (*duration)(double));

// The stored columns of `row` as the JSON object `vexa-datastore insert`
// reads: node names as an array, Encoding as its number.
nlohmann::json json_record(datastore::Row const& row);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_RECORD_LINES_H_
