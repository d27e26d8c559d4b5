// Datastores that failed while a command read them. The command goes on
// with the rows of those that answered; main() reports each failure once on
// standard error afterwards and makes the exit status 1.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_DATASTORE_FAILURES_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_DATASTORE_FAILURES_H_

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

// One failure as the tool words it everywhere:
//   datastore "pg" failed to run the latest rows of "cpu_load": REASON
struct DatastoreFailureReport {
    std::string instance_name;
    std::string request;  // what was asked, e.g. `the query "SELECT 1"`
    std::string reason;   // the back end's words
    std::string text() const;
};

// A read that no datastore answered. Its failures are noted already, so
// main() prints nothing more for it; what() is the first failure's text.
struct NoDatastoreAnswered : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Notes `failures` of the read described by `request`, each datastore once
// per command (by its first failure). Throws NoDatastoreAnswered when every datastore
// holding data is among them.
void note_failures(std::vector<datastore::DatastoreFailure> const& failures,
                   std::string const& request);

// The failures noted so far, in the order noted, and forgets them.
std::vector<DatastoreFailureReport> take_failures();
// Whether a failure of `instance_name` was noted and not taken yet.
bool has_failed(std::string const& instance_name);

// The reason `datastore` gives for its latest failed call in this thread
// (OP_LAST_FAILURE), or "its plug-in gave no reason".
std::string last_failure_reason(std::weak_ptr<datastore::DataStoreExtension> const& datastore);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_DATASTORE_FAILURES_H_
