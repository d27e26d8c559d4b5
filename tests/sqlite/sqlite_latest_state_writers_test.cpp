// The latest-row state under writer processes: eight `vexa-datastore
// insert` processes store runs out of order in one file while another
// process reads `vexa-datastore latest` in a loop.
#include <atomic>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "program.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using json = nlohmann::json;
using vexa::test::PlainConnection;
using vexa::test::ProgramRun;
using vexa::test::run_program;

constexpr int kWriters = 8;
constexpr int kRunsPerWriter = 120;
constexpr int kHosts = 12;

std::string runs_of_writer(int writer) {
    std::mt19937 random(static_cast<unsigned>(writer) + 1);
    std::string lines;
    for (int i = 0; i < kRunsPerWriter; ++i) {
        // Distinct across writers, in no order within one.
        std::int64_t const stamp =
            static_cast<std::int64_t>(random() % 1000000) * kWriters + writer - 4000000;
        lines += R"({"Provider": "p", "Hostname": "h)" + std::to_string(i % kHosts) +
                 R"(", "OptionID": "o", "Unique_timestamp": )" + std::to_string(stamp) + "}\n";
    }
    return lines;
}

TEST(SqliteLatestStateWriters, AReaderNeverMissesAPairAndTheStateEndsExact) {
    vexa::test::TempDir dir;
    std::map<std::string, std::string> const env = {{"HOME", dir.path()}};
    std::string const database = dir.path() + "/.vexa/2021.4.0/vexa.db";
    // The file and its state exist before anyone reads.
    ASSERT_EQ(run_program({{VEXA_TOOL, "insert"},
                           env,
                           R"({"Provider": "p", "Hostname": "h0", "OptionID": "o", )"
                           R"("Unique_timestamp": -9000000})"
                           "\n"})
                  .status,
              0);

    std::atomic<int> running{kWriters};
    std::vector<std::thread> writers;
    std::vector<int> statuses(kWriters, -1);
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([&, writer] {
            ProgramRun run{{VEXA_TOOL, "insert", "--batch", "3"}, env, runs_of_writer(writer)};
            statuses[writer] = run_program(run).status;
            --running;
        });
    }
    // Pairs never disappear and their latest stamp never goes back.
    std::map<std::string, std::int64_t> seen;
    int reads = 0;
    while (running > 0 || reads == 0) {
        auto const outcome =
            run_program({{VEXA_TOOL, "--format", "json", "latest", "-p", "p"}, env, ""});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        std::map<std::string, std::int64_t> now;
        for (json const& row : json::parse(outcome.out)) {
            now[row["Hostname"].get<std::string>()] = row["Unique_timestamp"].get<std::int64_t>();
        }
        for (auto const& [host, stamp] : seen) {
            ASSERT_EQ(now.count(host), 1u) << "read " << reads << " lost " << host;
            EXPECT_GE(now[host], stamp) << "read " << reads << " went back on " << host;
        }
        seen = now;
        ++reads;
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(statuses, std::vector<int>(kWriters, 0));
    EXPECT_GT(reads, 1);

    PlainConnection db(database);
    EXPECT_EQ(db.rows("SELECT count(*) FROM provider_datastore;"),
              std::vector<std::string>{std::to_string(kWriters * kRunsPerWriter + 1)});
    EXPECT_EQ(db.rows("SELECT Provider, Hostname, OptionID, Unique_timestamp, latest_rowid FROM "
                      "provider_datastore_state ORDER BY Provider, Hostname, OptionID;"),
              db.rows("SELECT Provider, Hostname, OptionID, MAX(Unique_timestamp), rowid FROM "
                      "provider_datastore GROUP BY Provider, Hostname, OptionID ORDER BY "
                      "Provider, Hostname, OptionID;"));
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kHosts));
}

}  // namespace
