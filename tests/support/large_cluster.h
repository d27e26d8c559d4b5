// A large cluster's results for the report page, written straight into a
// SQLite datastore that the tool created, shared by the tool's monitoring
// suite and the benchmark of the page.
#ifndef VEXA_TESTS_SUPPORT_LARGE_CLUSTER_H_
#define VEXA_TESTS_SUPPORT_LARGE_CLUSTER_H_

#include <cstdint>
#include <map>
#include <string>

namespace vexa::test {

// Stores the latest results of `hosts` x `providers` in the datastore file
// `path`, in one transaction, relative to `now`: one result in 97 failed,
// one in 89 is two hours old, one pair in 101 never reported. Returns the
// number of cells of each state ("passed", "failed", "stale", "never").
// Throws std::runtime_error with SQLite's text when a statement fails.
std::map<std::string, int> fill_large_cluster(std::string const& path, int hosts, int providers,
                                              std::int64_t now);

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_LARGE_CLUSTER_H_
