// Simulated provider results of a small cluster, for the demo command.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_DEMO_CLUSTER_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_DEMO_CLUSTER_H_

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

// The providers the demo simulates, in the order --providers takes them;
// "uname" comes first because the host records are its results.
std::vector<std::string> const& demo_provider_names();

struct DemoShape {
    int hosts = 0;      // node001, node002, ...
    int providers = 0;  // the first ones of demo_provider_names()
    int runs = 0;       // rounds, each running every provider on every host
};

// Produces the results one by one: round after round, host after host,
// provider after provider, with realistic output texts, node lists, a few
// random failures and one host whose /scratch fills up. The randomness is
// seeded, so only the time stamps differ between two demos of one shape.
class DemoCluster {
  public:
    // Rounds are ten minutes apart and the last one ends at `now_us`
    // (microseconds since the epoch), unless that would reach back to
    // `newest_stored_us`: then the first result comes just after it, so
    // unique time stamps stay unique and increasing over several demos.
    DemoCluster(DemoShape shape, std::int64_t now_us, std::int64_t newest_stored_us,
                std::string user);

    std::size_t size() const;
    // Fills `record` with the next result; false after the last one.
    bool next(datastore::InsertRequest& record);

  private:
    std::int64_t span_us() const;  // from the first unique time stamp to the last
    std::string host(int index) const;

    DemoShape shape_;
    std::int64_t step_us_;
    std::int64_t start_us_;
    std::string user_;
    std::size_t produced_ = 0;
    std::mt19937 random_;
};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_DEMO_CLUSTER_H_
