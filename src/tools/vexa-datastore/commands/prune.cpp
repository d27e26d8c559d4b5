// The prune command: results older than a cutoff removed from every
// datastore that can remove them.
#include <iostream>
#include <stdexcept>

#include "commands/commands.h"
#include "output/output.h"
#include "support/datastore_failures.h"
#include "support/names.h"
#include "support/open_datastores.h"
#include "support/time_arguments.h"

namespace vexa::tool {

namespace {

struct PruneOptions {
    std::string older_than;
    std::vector<std::string> providers;  // empty: every provider
    bool keep_latest = false;
    bool dry_run = false;
};

PruneOptions options;

}  // namespace

void add_prune_options(CLI::App* command) {
    add_older_than_option(command, options.older_than);
    add_names(command, "-p,--provider", options.providers, "only these providers");
    command->add_flag("--keep-latest", options.keep_latest,
                      "keep the latest result of every provider and host");
    command->add_flag("--dry-run", options.dry_run, "count what would go, remove nothing");
}

int run_prune(GlobalOptions const& global) {
    datastore::PruneRequest request;
    request.older_than =
        (now_seconds() - duration_seconds(options.older_than, "--older-than")) * 1000000;
    request.providers = options.providers;
    request.keep_latest = options.keep_latest;
    request.dry_run = options.dry_run;
    std::size_t failed = open_datastores(global.config_file, Access::write);
    std::vector<std::pair<std::string, std::uint64_t>> removed;
    std::vector<std::string> unsupported;
    std::vector<datastore::DatastoreFailure> failures;
    datastore::prune_rows(request, removed, &unsupported, &failures);
    Table table{{"datastore", options.dry_run ? "would_remove" : "removed"}, {}};
    for (auto const& [name, count] : removed) {
        table.rows.push_back({name, count});
    }
    print(table, global);
    if (!unsupported.empty()) {
        std::cerr << "vexa-datastore: warning: datastore " << quoted_list(unsupported)
                  << " cannot remove results (its plug-in does not serve it)\n";
    }
    note_failures(failures,
                  options.dry_run ? "the count of old results" : "the removal of old results");
    return failed == 0 && unsupported.empty() ? 0 : 1;
}

}  // namespace vexa::tool
