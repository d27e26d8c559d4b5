// The benchmark workload: a provider table of realistic shape, generated
// deterministically so that every program and every repetition sees the
// same rows.
#ifndef VEXA_BENCH_WORKLOAD_H_
#define VEXA_BENCH_WORKLOAD_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <datastore/extension.h>

namespace vexa::bench {

using datastore::InsertRequest;
using datastore::Row;

// hosts x providers x runs rows; every (provider, host) pair runs `runs`
// times, cycling through three option identifiers.
struct WorkloadShape {
    int hosts = 2000;
    int providers = 50;
    int runs = 10;

    std::size_t rows() const {
        return static_cast<std::size_t>(hosts) * static_cast<std::size_t>(providers) *
               static_cast<std::size_t>(runs);
    }
};

std::string provider_name(int provider);
std::string host_name(int host);
// The first `count` provider names.
std::vector<std::string> provider_names(int count);

// Row number `index` of the workload (0-based), in the order a tool writes
// them: run by run, host by host, provider by provider. Unique time stamps
// grow with the index, around 1.7e15, and use all of their 64 bits' range
// of low digits so that a lossy round trip would show.
InsertRequest workload_row(WorkloadShape const& shape, std::size_t index);

// Row number `index` as the library reads it back: row id index + 1 and
// `source` as its datastore_source.
Row workload_as_row(WorkloadShape const& shape, std::size_t index, std::string const& source);

// Writes the whole workload into `db_file`, whose provider table (the
// plug-in's schema) must exist, in one transaction over a plain SQLite
// connection. Throws std::runtime_error with SQLite's text on failure.
void write_workload(WorkloadShape const& shape, std::string const& db_file);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_WORKLOAD_H_
