// Which datastores failed, and why: the project's own read functions beside
// those of front_end.h, and the reason an instance did not open.
//
// A datastore that fails during a read is part of the answer. Each function
// below answers as its namesake in front_end.h does (same rows, same result,
// same log lines) and also fills `failures`, when it is not null (cleared
// first), with one entry per datastore holding provider data that did not
// answer, in registry order. The reason is the plug-in's own, asked with
// OP_LAST_FAILURE right after the failure in the same thread; never taken
// from the log. Thread safety: as front_end.h.
#ifndef VEXA_DATASTORE_FAILURES_H_
#define VEXA_DATASTORE_FAILURES_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <datastore/export.h>
#include <datastore/records.h>

namespace vexa::datastore {

struct DatastoreFailure {
    std::string instance_name;
    // What control() (or open_instance()) answered: 1, 512 for an operation
    // the plug-in does not serve, or a plug-in's own code; 1 when it threw.
    int result = 1;
    // The back end's words, e.g. SQLite's or the ODBC driver's text, or a
    // sentence saying the plug-in gave none.
    std::string reason;
};

// As select_data.
VEXA_DATASTORE_EXPORT bool select_data_with_failures(std::string query, std::vector<Row>& rows,
                                                     std::map<std::string, int> const& fields,
                                                     std::vector<DatastoreFailure>* failures);
// As select_provider_data.
VEXA_DATASTORE_EXPORT bool select_provider_data_with_failures(
    std::vector<std::string> providers, std::vector<Row>& rows, std::string selection,
    std::vector<DatastoreFailure>* failures);
// As get_latest_rows_provider_hosts_data: the latest rows of the datastores
// that answered.
VEXA_DATASTORE_EXPORT bool get_latest_rows_provider_hosts_data_with_failures(
    std::vector<std::string> const& providers, std::vector<Row>& rows,
    std::vector<std::string> const& hosts, std::vector<DatastoreFailure>* failures);
// As get_hosts_data.
VEXA_DATASTORE_EXPORT bool get_hosts_data_with_failures(std::vector<Row>& rows,
                                                        std::map<std::string, int> const& fields,
                                                        std::vector<DatastoreFailure>* failures);
// select_table and prune_rows (operations.h) take `failures` too; there a
// datastore answering 512 goes to `unsupported` instead.

// Why this process's latest attempt to open the instance `instance_name`
// (through DataStoreController::load and open, as the registration does)
// failed: open_instance()'s code and the plug-in's reason, which the
// controller asks with OP_LAST_FAILURE before it destroys the instance (the
// reason is empty when the plug-in gives none), or 1 and why its plug-in
// library was refused, as the warning logged for it says. nullopt when that
// attempt opened the instance, or failed for another cause (a name already
// open), or when none was made. Safe to call from any thread.
VEXA_DATASTORE_EXPORT std::optional<DatastoreFailure> open_failure(
    std::string const& instance_name);

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_FAILURES_H_
