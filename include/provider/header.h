// The header of one provider run: everything the run yields except its
// option identifier and its output texts (see datastore::InsertRequest).
#ifndef VEXA_PROVIDER_HEADER_H_
#define VEXA_PROVIDER_HEADER_H_

#include <cstdint>
#include <string>
#include <vector>

namespace vexa::provider {

// How a run's standard output and standard error are encoded.
enum encoding : std::int32_t { none = 0, base64 = 1, raw = 2 };

// Members are named like the columns of the provider table.
struct header {
    std::string Provider;
    std::string Hostname;
    std::int32_t num_nodes = 0;
    std::vector<std::string> node_names;
    std::int32_t Exit_status = 0;
    std::int64_t Timestamp = 0;
    double Duration = 0.0;
    encoding Encoding = none;
    std::int32_t version = 0;
    std::string Username;
    std::int64_t Unique_timestamp = 0;
};

}  // namespace vexa::provider

#endif  // VEXA_PROVIDER_HEADER_H_
