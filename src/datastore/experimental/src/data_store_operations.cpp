// The front end of the project's own operations: each runs over every
// datastore holding provider data and gathers the answers by datastore.
#include <datastore/operations.h>

#include <algorithm>
#include <memory>
#include <utility>

#include <datastore/controller.h>
#include <datastore/extension.h>
#include <datastore/failures.h>
#include <datastore/parse_utility.h>
#include <util/log.h>

#include "failure_reasons.h"

namespace vexa::datastore {

namespace {

// Runs `opcode` with `in` on every data datastore in registry order, each
// filling a fresh `Answer`, and hands every successful answer to
// `take(name, answer)`, which says whether it was kept. Failures are logged
// and skipped; the names of datastores answering 512 go to `unsupported`,
// the other failures to `failures`. True when an answer was kept.
template <typename Answer, typename Take>
bool run_everywhere(unsigned short opcode, void const* in, std::vector<std::string>* unsupported,
                    std::vector<DatastoreFailure>* failures, Take take) try {
    if (unsupported != nullptr) {
        unsupported->clear();
    }
    if (failures != nullptr) {
        failures->clear();
    }
    std::shared_ptr<DataStoreController> const controller =
        DataStoreController::createDataStoreController().lock();
    if (!controller) {
        return false;
    }
    bool kept = false;
    for (DataStoreInstance const& datastore : DataStoreParseUtility::get_datastore_vector()) {
        if (!datastore.first.source_types.test(data)) {
            continue;
        }
        std::string const& name = datastore.first.instance_name;
        Answer answer{};
        if (detail::control_and_file(*controller, name, datastore.second, opcode, in, &answer,
                                     failures, unsupported) &&
            take(name, std::move(answer))) {
            kept = true;
        }
    }
    return kept;
} catch (...) {
    // Only allocation fails outside the per-datastore step.
    return false;
}

}  // namespace

bool select_table(std::string const& query, Table& out, std::vector<std::string>* unsupported,
                  std::vector<DatastoreFailure>* failures) {
    out = Table{};
    if (query.empty()) {
        if (unsupported != nullptr) {
            unsupported->clear();
        }
        if (failures != nullptr) {
            failures->clear();
        }
        return false;
    }
    std::string first_name;
    bool const answered = run_everywhere<Table>(
        OP_QUERY_TABLE, &query, unsupported, failures,
        [&](std::string const& name, Table&& answer) {
            if (out.columns.empty()) {
                first_name = name;
                out.columns.reserve(answer.columns.size() + 1);
                out.columns.push_back("datastore");
                out.columns.insert(out.columns.end(), answer.columns.begin(), answer.columns.end());
            } else if (!std::equal(answer.columns.begin(), answer.columns.end(),
                                   out.columns.begin() + 1, out.columns.end())) {
                log::ErrorLog(7).stream() << "Columns of \"" << name << "\" differ from those of \""
                                          << first_name << "\"; its rows are left out";
                return false;
            }
            for (auto& row : answer.rows) {
                row.insert(row.begin(), name);
                out.rows.push_back(std::move(row));
            }
            return true;
        });
    if (!answered) {
        out = Table{};
    }
    return answered;
}

bool prune_rows(PruneRequest const& request,
                std::vector<std::pair<std::string, std::uint64_t>>& removed,
                std::vector<std::string>* unsupported, std::vector<DatastoreFailure>* failures) {
    removed.clear();
    return run_everywhere<std::uint64_t>(OP_PRUNE, &request, unsupported, failures,
                                         [&](std::string const& name, std::uint64_t&& count) {
                                             removed.emplace_back(name, count);
                                             return true;
                                         });
}

}  // namespace vexa::datastore
