#include "support/json_record.h"

#include <limits>
#include <map>
#include <stdexcept>
#include <string>

namespace vexa::tool {

using datastore::InsertRequest;
using nlohmann::json;

namespace {

[[noreturn]] void reject(std::string const& key, std::string const& requirement) {
    throw std::runtime_error("\"" + key + "\" must be " + requirement);
}

std::string text(json const& value, std::string const& key, std::int32_t longest) {
    if (!value.is_string()) {
        reject(key, "a string");
    }
    auto result = value.get<std::string>();
    if (result.size() > static_cast<std::size_t>(longest)) {
        reject(key, "at most " + std::to_string(longest) + " bytes long");
    }
    return result;
}

// The library pastes provider, host and option names into its SQL between
// single quotes, so such a name would break every later query.
std::string name(json const& value, std::string const& key, std::int32_t longest) {
    std::string result = text(value, key, longest);
    if (result.find('\'') != std::string::npos) {
        throw std::runtime_error("\"" + key +
                                 "\" must not hold a single quote (names are written into the "
                                 "datastores' queries between single quotes)");
    }
    return result;
}

std::int64_t integer(json const& value, std::string const& key, std::int64_t low,
                     std::int64_t high) {
    bool fits = value.is_number_integer() &&
                !(value.is_number_unsigned() &&
                  value.get<std::uint64_t>() > static_cast<std::uint64_t>(high)) &&
                value.get<std::int64_t>() >= low && value.get<std::int64_t>() <= high;
    if (!fits) {
        reject(key, "an integer from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return value.get<std::int64_t>();
}

std::int32_t int32(json const& value, std::string const& key) {
    return static_cast<std::int32_t>(integer(value, key, std::numeric_limits<std::int32_t>::min(),
                                             std::numeric_limits<std::int32_t>::max()));
}

std::int64_t int64(json const& value, std::string const& key) {
    return integer(value, key, std::numeric_limits<std::int64_t>::min(),
                   std::numeric_limits<std::int64_t>::max());
}

std::vector<std::string> names(json const& value, std::string const& key) {
    if (!value.is_array() || value.size() > static_cast<std::size_t>(datastore::max_num_nodes)) {
        reject(key, "an array of at most " + std::to_string(datastore::max_num_nodes) + " names");
    }
    std::vector<std::string> result;
    for (auto const& item : value) {
        result.push_back(name(item, key + "[]", datastore::max_hostname_size));
    }
    return result;
}

provider::encoding encoding(json const& value, std::string const& key) {
    if (value.is_string() && datastore::encoding_map.count(value.get<std::string>()) == 1) {
        return datastore::encoding_map.at(value.get<std::string>());
    }
    if (value.is_number_integer()) {
        return static_cast<provider::encoding>(integer(value, key, provider::none, provider::raw));
    }
    reject(key, "\"none\", \"base64\" or \"raw\"");
}

using Setter = void (*)(json const&, std::string const&, InsertRequest&);

// Rows the json output wrote carry these too; they are not stored.
void ignore(json const&, std::string const&, InsertRequest&) {}

// How the value of each column is read, by the column's Row member.
std::map<datastore::RowMember, Setter> const setters{
    {datastore::provider_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         r.header.Provider = name(v, k, datastore::max_provider_size);
     }},
    {datastore::hostname_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         r.header.Hostname = name(v, k, datastore::max_hostname_size);
     }},
    {datastore::num_nodes_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         r.header.num_nodes = static_cast<std::int32_t>(integer(v, k, 0, datastore::max_num_nodes));
     }},
    {datastore::node_names_member, [](json const& v, std::string const& k,
                                      InsertRequest& r) { r.header.node_names = names(v, k); }},
    {datastore::exit_status_member, [](json const& v, std::string const& k,
                                       InsertRequest& r) { r.header.Exit_status = int32(v, k); }},
    {datastore::timestamp_member, [](json const& v, std::string const& k,
                                     InsertRequest& r) { r.header.Timestamp = int64(v, k); }},
    {datastore::duration_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         if (!v.is_number()) {
             reject(k, "a number");
         }
         r.header.Duration = v.get<double>();
     }},
    {datastore::encoding_member, [](json const& v, std::string const& k,
                                    InsertRequest& r) { r.header.Encoding = encoding(v, k); }},
    {datastore::stdout_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         r.stdout_text = text(v, k, datastore::max_std_stream_size);
     }},
    {datastore::stderr_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         r.stderr_text = text(v, k, datastore::max_std_stream_size);
     }},
    {datastore::option_id_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         r.option_id = name(v, k, datastore::max_option_id_size);
     }},
    {datastore::version_member,
     [](json const& v, std::string const& k, InsertRequest& r) { r.header.version = int32(v, k); }},
    {datastore::username_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         r.header.Username = text(v, k, datastore::max_username_size);
     }},
    {datastore::unique_timestamp_member,
     [](json const& v, std::string const& k, InsertRequest& r) {
         r.header.Unique_timestamp = int64(v, k);
     }},
    {datastore::rowid_member, ignore},
};

// The setter of the column named exactly `key`.
Setter setter_of(std::string const& key) {
    // What the reading commands add to a row rather than read from it: their
    // JSON Lines output still goes back into insert as it is.
    if (key == "datastore_source" || key == "failing_since") {
        return ignore;
    }
    for (datastore::Column const& column : datastore::record_columns) {
        if (key == column.name) {
            return setters.at(column.member);
        }
    }
    throw std::runtime_error("unknown key \"" + key + "\"");
}

}  // namespace

InsertRequest record_from_json(json const& object, std::int64_t now_us) {
    if (!object.is_object()) {
        throw std::runtime_error("a record must be a JSON object");
    }
    InsertRequest record;
    record.header.Unique_timestamp = now_us;
    record.header.Timestamp = now_us / 1000000;
    for (auto const& [key, value] : object.items()) {
        setter_of(key)(value, key, record);
    }
    for (char const* key : {"Provider", "Hostname"}) {
        if (!object.contains(key) || object.at(key) == "") {
            throw std::runtime_error(std::string("\"") + key + "\" is required");
        }
    }
    if (object.contains("Timestamp") && !object.contains("Unique_timestamp")) {
        constexpr std::int64_t kMicro = 1000000;
        constexpr std::int64_t kLimit = std::numeric_limits<std::int64_t>::max() / kMicro;
        if (record.header.Timestamp > kLimit || record.header.Timestamp < -kLimit) {
            reject("Timestamp", "from " + std::to_string(-kLimit) + " to " +
                                    std::to_string(kLimit) + " without \"Unique_timestamp\"");
        }
        record.header.Unique_timestamp = record.header.Timestamp * kMicro;
    }
    if (!object.contains("num_nodes")) {
        record.header.num_nodes = static_cast<std::int32_t>(record.header.node_names.size());
    }
    return record;
}

}  // namespace vexa::tool
