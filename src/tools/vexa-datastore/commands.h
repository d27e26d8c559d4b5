// The commands of vexa-datastore. Each returns the process's exit status and
// throws std::exception (UsageError for exit status 2) for a failure that the
// user caused; main() reports it in one line.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_H_

#include <string>
#include <vector>

#include "options.h"

namespace vexa::tool {

struct DemoOptions {
    int hosts = 8;
    int providers = 8;
    int runs = 3;
};
int run_demo(GlobalOptions const& global, DemoOptions const& options);

struct SummaryOptions {
    std::vector<std::string> providers;  // empty: every provider stored
    std::vector<std::string> hosts;      // empty: every host
    bool list_failed = false;
};
int run_summary(GlobalOptions const& global, SummaryOptions const& options);

struct LatestOptions {
    std::vector<std::string> providers;
    std::vector<std::string> hosts;
};
int run_latest(GlobalOptions const& global, LatestOptions const& options);

struct SelectOptions {
    std::vector<std::string> providers;
    std::string condition;
};
int run_select(GlobalOptions const& global, SelectOptions const& options);

int run_hosts(GlobalOptions const& global);
int run_sql(GlobalOptions const& global, std::string const& query);

struct InsertOptions {
    std::string file = "-";  // "-": standard input
    std::string datastore;   // empty: the first datastore that accepts a record
};
int run_insert(GlobalOptions const& global, InsertOptions const& options);

int run_datastores(GlobalOptions const& global);

int run_load_sql(std::string const& script, std::string const& database);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_H_
