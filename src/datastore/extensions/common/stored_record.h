// A record to store, seen under the names of Row's members, so that the
// plug-ins bind its values column by column from record_columns with
// visit_member.
#ifndef VEXA_PLUGIN_COMMON_STORED_RECORD_H_
#define VEXA_PLUGIN_COMMON_STORED_RECORD_H_

#include <cstdint>
#include <string>
#include <vector>

#include <provider/header.h>

namespace vexa::datastore::common {

// Refers to the caller's values, which must outlive it. rowid is always 0:
// the database numbers stored records.
struct StoredRecord {
    StoredRecord(provider::header const& header, std::string const& option_id,
                 std::string const& stdout_text, std::string const& stderr_text)
        : Provider(header.Provider),
          Hostname(header.Hostname),
          num_nodes(header.num_nodes),
          node_names(header.node_names),
          Exit_status(header.Exit_status),
          Timestamp(header.Timestamp),
          Duration(header.Duration),
          Encoding(header.Encoding),
          STDOUT(stdout_text),
          STDERR(stderr_text),
          OptionID(option_id),
          version(header.version),
          Username(header.Username),
          Unique_timestamp(header.Unique_timestamp) {}

    std::int32_t const rowid = 0;
    std::string const& Provider;
    std::string const& Hostname;
    std::int32_t const& num_nodes;
    std::vector<std::string> const& node_names;
    std::int32_t const& Exit_status;
    std::int64_t const& Timestamp;
    double const& Duration;
    provider::encoding const& Encoding;
    std::string const& STDOUT;
    std::string const& STDERR;
    std::string const& OptionID;
    std::int32_t const& version;
    std::string const& Username;
    std::int64_t const& Unique_timestamp;
};

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_STORED_RECORD_H_
