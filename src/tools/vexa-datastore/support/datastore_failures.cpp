#include "support/datastore_failures.h"

#include <algorithm>

namespace vexa::tool {

namespace {

std::vector<DatastoreFailureReport> noted;

std::size_t datastores_holding_data() {
    std::size_t count = 0;
    for (auto const& [config, handle] : datastore::DataStoreParseUtility::get_datastore_vector()) {
        count += config.source_types.test(datastore::data) ? 1 : 0;
    }
    return count;
}

}  // namespace

std::string DatastoreFailureReport::text() const {
    std::string text =
        "datastore \"" + instance_name + "\" failed to run " + request + ": " + reason;
    // Drivers break their diagnostics over lines; a report is one line.
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

void note_failures(std::vector<datastore::DatastoreFailure> const& failures,
                   std::string const& request) {
    for (auto const& failure : failures) {
        // A datastore is reported once, by its first failure: what it fails
        // afterwards in the same command adds nothing the reader can act on.
        if (!has_failed(failure.instance_name)) {
            noted.push_back({failure.instance_name, request, failure.reason});
        }
    }
    if (!failures.empty() && failures.size() == datastores_holding_data()) {
        auto const first = std::find_if(noted.begin(), noted.end(), [&](auto const& report) {
            return report.instance_name == failures.front().instance_name;
        });
        throw NoDatastoreAnswered(first->text());
    }
}

std::vector<DatastoreFailureReport> take_failures() {
    std::vector<DatastoreFailureReport> taken;
    taken.swap(noted);
    return taken;
}

bool has_failed(std::string const& instance_name) {
    return std::any_of(noted.begin(), noted.end(),
                       [&](auto const& report) { return report.instance_name == instance_name; });
}

std::string last_failure_reason(std::weak_ptr<datastore::DataStoreExtension> const& datastore) {
    std::string reason;
    if (auto extension = datastore.lock()) {
        extension->control(datastore::OP_LAST_FAILURE, nullptr, &reason, nullptr);
    }
    return reason.empty() ? "its plug-in gave no reason" : reason;
}

}  // namespace vexa::tool
