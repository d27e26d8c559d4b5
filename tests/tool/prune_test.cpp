// prune removes old results, counts them first when asked and can keep the
// latest.
#include <string>
#include <vector>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

TEST_F(ToolInScratchHome, PruneRemovesOldResultsAndCanKeepTheLatest) {
    std::int64_t const now = now_seconds();
    output_of({"insert"}, records_relative_to(now));
    EXPECT_EQ(
        "datastore     would_remove\n"
        "------------  ------------\n"
        "vexa_default             2\n",
        output_of({"prune", "--older-than", "50m", "--dry-run"}));
    EXPECT_EQ(6u, json_of({"select"}).size()) << "a dry run removes nothing";
    EXPECT_EQ(json::parse(R"([{"datastore": "vexa_default", "removed": 0}])"),
              json_of({"prune", "--older-than", "50m", "--keep-latest"}))
        << "node003's only results are its latest";
    EXPECT_EQ(json::parse(R"([{"datastore": "vexa_default", "removed": 2}])"),
              json_of({"prune", "--older-than", "10m", "-p", "cpu_load"}))
        << "node002 and node003; node001's is fresh";
    EXPECT_EQ(4u, json_of({"select"}).size());
}

}  // namespace
}  // namespace vexa::test
