// The select command: every stored result of the providers, narrowed down.
#include "commands/commands.h"
#include "output/rows.h"
#include "output/streamed_reads.h"
#include "support/datastore_failures.h"
#include "support/names.h"
#include "support/open_datastores.h"
#include "support/selection_query.h"
#include "support/stored_data.h"
#include "support/time_arguments.h"

namespace vexa::tool {

using datastore::Row;

namespace {

struct SelectOptions {
    std::vector<std::string> providers;  // empty: every provider stored
    std::vector<std::string> hosts;      // empty: every host
    std::string condition;
    std::string since;  // a duration ago or a date; empty: no bound
    std::string until;
    std::size_t limit = 0;  // 0: every row
};

SelectOptions options;

}  // namespace

void add_select_options(CLI::App* command) {
    add_provider_and_host_names(command, options.providers, options.hosts);
    command
        ->add_option("-w,--where", options.condition,
                     "an SQL condition on the columns, e.g. \"Exit_status != 0\"")
        ->type_name("CONDITION");
    command->add_option("--since", options.since, "only results from then on")->type_name("WHEN");
    command->add_option("--until", options.until, "only results up to then")->type_name("WHEN");
    command->add_option("--limit", options.limit, "at most this many rows")
        ->check(CLI::PositiveNumber)
        ->type_name("N");
}

namespace {

// The user's condition and the narrowing options as one SQL condition. Host
// names never hold a quote (the command line refuses them), so they can be
// pasted between quotes as the library pastes provider names.
std::string condition_of(GlobalOptions const& global) {
    std::vector<std::string> parts;
    if (!vexa::str::stripws(options.condition).empty()) {
        parts.push_back("(" + vexa::str::stripws(options.condition) + ")");
    }
    if (!options.hosts.empty()) {
        std::string list;
        for (auto const& host : options.hosts) {
            list += (list.empty() ? "'" : ", '") + host + "'";
        }
        parts.push_back("Hostname IN (" + list + ")");
    }
    std::int64_t const now = now_seconds();
    if (!options.since.empty()) {
        parts.push_back("Timestamp >= " +
                        std::to_string(point_in_time(options.since, "--since", now, global.utc)));
    }
    if (!options.until.empty()) {
        parts.push_back("Timestamp <= " +
                        std::to_string(point_in_time(options.until, "--until", now, global.utc)));
    }
    if (parts.size() == 1 && !vexa::str::stripws(options.condition).empty()) {
        return vexa::str::stripws(options.condition);  // as the user wrote it
    }
    std::string condition;
    for (auto const& part : parts) {
        condition += (condition.empty() ? "" : " AND ") + part;
    }
    return condition;
}

}  // namespace

int run_select(GlobalOptions const& global) {
    std::string const condition = condition_of(global);
    std::size_t failed = open_datastores(global.config_file, Access::read);
    require_stored(options.providers);
    auto providers = options.providers.empty() ? stored_providers() : options.providers;
    std::string const request = "the selection of " + quoted_list(providers) +
                                (condition.empty() ? "" : " where \"" + condition + "\"");
    if (auto query = selection_query(providers, condition, options.limit, global);
        query && !providers.empty()) {
        note_failures(print_streamed_records(*query, options.limit, global), request);
        return failed == 0 ? 0 : 1;
    }
    std::vector<Row> rows;
    if (!providers.empty()) {
        std::vector<datastore::DatastoreFailure> failures;
        datastore::select_provider_data_with_failures(providers, rows, condition, &failures);
        note_failures(failures, request);
    }
    if (options.limit > 0 && rows.size() > options.limit) {
        order_rows(rows, global);  // the limit keeps the first rows in the order asked for
        rows.resize(options.limit);
    }
    print_rows(rows, global);
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
