#include <datastore/records.h>

namespace vexa::datastore {

const std::int32_t default_backend = 0;
const std::int32_t max_provider_size = 64;
const std::int32_t max_hostname_size = 256;
const std::int32_t max_num_nodes = 262144;
const std::int32_t max_node_names_size = max_num_nodes * (max_hostname_size + 2);
const std::int32_t max_std_stream_size = 1073741824;
const std::int32_t max_option_id_size = 64;
const std::int32_t max_username_size = 64;

}  // namespace vexa::datastore
