#include "workload.h"

#include <cstdio>

#include "plain_sqlite.h"

namespace vexa::bench {

namespace {

constexpr std::int64_t first_unique_timestamp = 1'700'000'000'000'000;
constexpr std::int64_t first_timestamp = 1'700'000'000;
constexpr int option_count = 3;
constexpr int neighbours = 2;  // node lists name the host and two more

// About 300 bytes of provider output that differs from row to row.
std::string stdout_text(std::string const& provider, std::string const& host, std::size_t index) {
    std::string text = provider + " on " + host + ": all checks passed\n";
    char line[64];
    for (int check = 0; text.size() < 280; ++check) {
        std::snprintf(line, sizeof line, "check %02d value=%zu status=ok\n", check,
                      (index * 31 + static_cast<std::size_t>(check) * 7) % 100003);
        text += line;
    }
    return text;
}

}  // namespace

std::string provider_name(int provider) {
    char name[32];
    std::snprintf(name, sizeof name, "provider_%02d", provider);
    return name;
}

std::string host_name(int host) {
    char name[32];
    std::snprintf(name, sizeof name, "node%04d", host);
    return name;
}

std::vector<std::string> provider_names(int count) {
    std::vector<std::string> names;
    for (int p = 0; p < count; ++p) {
        names.push_back(provider_name(p));
    }
    return names;
}

InsertRequest workload_row(WorkloadShape const& shape, std::size_t index) {
    auto const providers = static_cast<std::size_t>(shape.providers);
    auto const hosts = static_cast<std::size_t>(shape.hosts);
    int const provider = static_cast<int>(index % providers);
    int const host = static_cast<int>(index / providers % hosts);
    int const run = static_cast<int>(index / providers / hosts);

    InsertRequest request;
    provider::header& header = request.header;
    header.Provider = provider_name(provider);
    header.Hostname = host_name(host);
    header.num_nodes = neighbours + 1;
    for (int n = 0; n <= neighbours; ++n) {
        header.node_names.push_back(host_name((host + n) % shape.hosts));
    }
    header.Exit_status = index % 17 == 0 ? 1 : 0;
    header.Timestamp = first_timestamp + static_cast<std::int64_t>(run) * 3600 +
                       static_cast<std::int64_t>(index % 3600);
    header.Duration = 0.25 + static_cast<double>(index % 1000) / 1000.0;
    header.Encoding = provider::none;
    header.version = 1;
    header.Username = "svc_health";
    // Strictly increasing, with irregular low digits.
    header.Unique_timestamp = first_unique_timestamp + static_cast<std::int64_t>(index) * 1000 +
                              static_cast<std::int64_t>(index * 7919 % 997);
    request.option_id = header.Provider + "-opt" + std::to_string(run % option_count);
    request.stdout_text = stdout_text(header.Provider, header.Hostname, index);
    request.stderr_text = "warning: slow disk " + std::to_string(index % 10);
    return request;
}

Row workload_as_row(WorkloadShape const& shape, std::size_t index, std::string const& source) {
    InsertRequest const w = workload_row(shape, index);
    Row row;
    row.rowid = static_cast<std::int32_t>(index + 1);
    row.Provider = w.header.Provider;
    row.Hostname = w.header.Hostname;
    row.num_nodes = w.header.num_nodes;
    row.node_names = w.header.node_names;
    row.Exit_status = w.header.Exit_status;
    row.Timestamp = w.header.Timestamp;
    row.Duration = w.header.Duration;
    row.Encoding = w.header.Encoding;
    row.STDOUT = w.stdout_text;
    row.STDERR = w.stderr_text;
    row.OptionID = w.option_id;
    row.version = w.header.version;
    row.Username = w.header.Username;
    row.Unique_timestamp = w.header.Unique_timestamp;
    row.datastore_source = source;
    return row;
}

void write_workload(WorkloadShape const& shape, std::string const& db_file) {
    PlainDatabase db(db_file, false);
    db.exec("BEGIN");
    PlainStatement insert(db, plain_insert_sql());
    for (std::size_t i = 0; i < shape.rows(); ++i) {
        insert.insert_row(workload_row(shape, i));
    }
    db.exec("COMMIT");
}

}  // namespace vexa::bench
