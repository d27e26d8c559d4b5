#include "support/demo_cluster.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <optional>

namespace vexa::tool {

namespace {

constexpr std::int64_t kRoundIntervalUs = 600'000'000;  // ten minutes
constexpr std::int64_t kLongestStepUs = 50'000;         // results of a round arrive this far apart
constexpr double kFailureRate = 0.03;
constexpr int kSickHost = 2;  // node003: its /scratch fills up round by round
constexpr std::uint32_t kSeed = 20210430;

std::string printed(char const* format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(char const* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

// What one provider run on one host sees.
struct Situation {
    std::string host;
    std::string neighbour;           // the next host, for point-to-point checks
    std::vector<std::string> group;  // the block of four hosts holding this one
    int host_index = 0;
    int round = 0;
    std::mt19937* random = nullptr;

    double uniform(double low, double high) const {
        return std::uniform_real_distribution<double>(low, high)(*random);
    }
    bool unlucky() const { return uniform(0.0, 1.0) < kFailureRate; }
};

struct Outcome {
    int exit_status = 0;
    std::string out;
    std::string err;
    double duration = 0.0;
    std::vector<std::string> nodes;  // empty: the host alone
};

// What a failed run changes in the usual outcome; its output and duration
// stay as usual unless given.
struct Failure {
    int exit_status = 1;
    std::string err;
    std::optional<std::string> out = std::nullopt;
    double duration = 0.0;  // 0: as usual
};

Outcome failed_if(bool failed, Outcome usual, Failure const& failure) {
    if (failed) {
        usual.exit_status = failure.exit_status;
        usual.err = failure.err;
        usual.out = failure.out.value_or(usual.out);
        usual.duration = failure.duration > 0.0 ? failure.duration : usual.duration;
    }
    return usual;
}

// The random numbers are drawn in a fixed order (braced lists are evaluated
// left to right, the luck of a run before or after its usual outcome as
// written), so a demo of one shape always tells the same story.

Outcome uname(Situation const& s) {
    return {0,
            printed("Linux %s 5.15.0-91-generic #101-Ubuntu SMP Tue Nov 14 13:30:08 UTC 2023 "
                    "x86_64 GNU/Linux",
                    s.host.c_str()),
            "",
            s.uniform(0.003, 0.009),
            {}};
}

Outcome cpu_load(Situation const& s) {
    bool overloaded = s.unlucky();
    double load = overloaded ? s.uniform(70, 90) : s.uniform(0.2, 48);
    return failed_if(
        overloaded,
        {0,
         printed("load average: %.2f, %.2f, %.2f on 64 cores", load, load * 0.96, load * 0.9),
         "",
         s.uniform(0.01, 0.03),
         {}},
        {1, printed("load average %.2f exceeds 64 cores", load)});
}

Outcome disk_usage(Situation const& s) {
    int root = static_cast<int>(s.uniform(20, 60));
    int scratch = s.host_index == kSickHost ? std::min(99, 88 + 5 * s.round)
                                            : static_cast<int>(s.uniform(30, 85));
    return failed_if(scratch >= 95,
                     {0,
                      printed("/ %d%% used; /scratch %d%% used", root, scratch),
                      "",
                      s.uniform(0.04, 0.2),
                      {}},
                     {2, printed("/scratch is %d%% full (limit 95%%)", scratch)});
}

Outcome memory(Situation const& s) {
    bool short_of_memory = s.unlucky();
    int available =
        short_of_memory ? static_cast<int>(s.uniform(2, 9)) : static_cast<int>(s.uniform(150, 240));
    return failed_if(
        short_of_memory,
        {0, printed("256 GiB total, %d GiB available", available), "", s.uniform(0.005, 0.02), {}},
        {1, printed("only %d GiB of 256 GiB available (below 5%%)", available)});
}

Outcome network(Situation const& s) {
    Outcome usual{0,
                  printed("%s: 10 packets, 0%% loss, rtt avg %.3f ms", s.neighbour.c_str(),
                          s.uniform(0.05, 0.2)),
                  "",
                  s.uniform(1.8, 2.2),
                  {s.host, s.neighbour}};
    return failed_if(
        s.unlucky(), usual,
        {1,
         printed("%s unreachable from %s: 100%% packet loss", s.neighbour.c_str(), s.host.c_str()),
         printed("%s: 10 packets, 100%% loss", s.neighbour.c_str()), 10.0});
}

Outcome ntp_sync(Situation const& s) {
    bool drifting = s.unlucky();
    double offset = drifting ? s.uniform(150, 400) : s.uniform(-2, 2);
    return failed_if(drifting,
                     {0,
                      printed("offset %+.3f ms from ntp1.cluster, stratum 2", offset),
                      "",
                      s.uniform(0.05, 0.15),
                      {}},
                     {1, printed("clock offset %.1f ms exceeds 100 ms", offset)});
}

Outcome infiniband(Situation const& s) {
    Outcome usual{0, "mlx5_0 port 1: Active, 200 Gb/sec (4X HDR)", "", s.uniform(0.1, 0.3), {}};
    return failed_if(
        s.unlucky(), usual,
        {1, "mlx5_0 port 1 link down (physical state: Polling)", "mlx5_0 port 1: Down"});
}

Outcome services(Situation const& s) {
    Outcome usual{0, "sshd running\nmunge running\nslurmd running", "", s.uniform(0.2, 0.4), {}};
    return failed_if(
        s.unlucky(), usual,
        {3, "slurmd is not running", "sshd running\nmunge running\nslurmd inactive (dead)"});
}

Outcome mpi_allreduce(Situation const& s) {
    auto size = static_cast<int>(s.group.size());
    Outcome usual{0,
                  printed("allreduce of 1 MiB over %d nodes: %.0f us", size, s.uniform(250, 400)),
                  "", s.uniform(1.2, 1.8), s.group};
    return failed_if(
        s.unlucky(), usual,
        {124, printed("MPI_Allreduce timed out after 30 s on %s", s.group.back().c_str()), "",
         30.0});
}

struct Simulated {
    std::string name;
    Outcome (*run)(Situation const&);
};

std::vector<Simulated> const& simulated() {
    static std::vector<Simulated> const providers{
        {"uname", uname},           {"cpu_load", cpu_load}, {"disk_usage", disk_usage},
        {"memory", memory},         {"network", network},   {"ntp_sync", ntp_sync},
        {"infiniband", infiniband}, {"services", services}, {"mpi_allreduce", mpi_allreduce}};
    return providers;
}

}  // namespace

std::vector<std::string> const& demo_provider_names() {
    static std::vector<std::string> const names = [] {
        std::vector<std::string> result;
        for (auto const& provider : simulated()) {
            result.push_back(provider.name);
        }
        return result;
    }();
    return names;
}

DemoCluster::DemoCluster(DemoShape shape, std::int64_t now_us, std::int64_t newest_stored_us,
                         std::string user)
    : shape_(shape),
      step_us_(std::clamp<std::int64_t>(
          kRoundIntervalUs /
              (2 * std::max<std::int64_t>(1, std::int64_t{shape.hosts} * shape.providers)),
          1, kLongestStepUs)),
      start_us_(std::max(now_us - span_us(), newest_stored_us + 1)),
      user_(std::move(user)),
      random_(kSeed) {}

std::size_t DemoCluster::size() const {
    return static_cast<std::size_t>(shape_.hosts) * static_cast<std::size_t>(shape_.providers) *
           static_cast<std::size_t>(shape_.runs);
}

std::int64_t DemoCluster::span_us() const {
    std::int64_t per_round = std::int64_t{shape_.hosts} * shape_.providers;
    return (shape_.runs - 1) * kRoundIntervalUs + (per_round - 1) * step_us_;
}

std::string DemoCluster::host(int index) const { return printed("node%03d", index + 1); }

bool DemoCluster::next(datastore::InsertRequest& record) {
    if (produced_ == size()) {
        return false;
    }
    auto per_round =
        static_cast<std::size_t>(shape_.hosts) * static_cast<std::size_t>(shape_.providers);
    auto in_round = produced_ % per_round;
    Situation situation;
    situation.round = static_cast<int>(produced_ / per_round);
    situation.host_index = static_cast<int>(in_round / static_cast<std::size_t>(shape_.providers));
    situation.host = host(situation.host_index);
    situation.neighbour = host((situation.host_index + 1) % shape_.hosts);
    for (int i = situation.host_index / 4 * 4;
         i < std::min(shape_.hosts, situation.host_index / 4 * 4 + 4); ++i) {
        situation.group.push_back(host(i));
    }
    situation.random = &random_;
    auto const& provider = simulated()[in_round % static_cast<std::size_t>(shape_.providers)];
    Outcome outcome = provider.run(situation);

    record = datastore::InsertRequest{};
    auto& header = record.header;
    header.Provider = provider.name;
    header.Hostname = situation.host;
    header.node_names =
        outcome.nodes.empty() ? std::vector<std::string>{situation.host} : outcome.nodes;
    header.num_nodes = static_cast<std::int32_t>(header.node_names.size());
    header.Exit_status = outcome.exit_status;
    header.Unique_timestamp = start_us_ + situation.round * kRoundIntervalUs +
                              static_cast<std::int64_t>(in_round) * step_us_;
    header.Timestamp = header.Unique_timestamp / 1'000'000;
    header.Duration = std::round(outcome.duration * 1000.0) / 1000.0;  // to the millisecond
    header.Encoding = provider::none;
    header.version = 1;
    header.Username = user_;
    record.option_id = "default";
    record.stdout_text = outcome.out;
    record.stderr_text = outcome.err;
    ++produced_;
    return true;
}

}  // namespace vexa::tool
