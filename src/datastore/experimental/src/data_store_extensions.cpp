// The front end: runs one operation over the open datastores of the registry
// and merges their rows; the query functions of the tool are built on it.
#include <datastore/front_end.h>

#include <iterator>
#include <memory>
#include <utility>

#include <datastore/controller.h>
#include <datastore/extension.h>
#include <datastore/failures.h>
#include <datastore/parse_utility.h>
#include <util/log.h>
#include <util/str.h>

#include "failure_reasons.h"
#include "latest_rows.h"
#include "operation_messages.h"

namespace vexa::datastore {

namespace {

// Source position given with the two messages about a datastore that threw.
constexpr char const* kSourceFile = "src/datastore/experimental/src/data_store_extensions";
constexpr int kDebug = 7;

void log_query_result(int result, std::string const& name) {
    log::ErrorLog message(kDebug);
    if (result == DataStoreExtension::UNSUPPORTED_OPERATION) {
        message.stream() << "Generic querying of data not supported for \"" << name << "\"";
        return;
    }
    message.stream() << "Generic querying of data failed for \"" << name << "\"";
    if (result != DataStoreExtension::OPERATION_UNSUCCESSFULL) {
        message.stream() << " with error code " << result;
    }
}

// Runs `opcode` on one datastore and appends its rows, stamped with its name,
// to `rows`. A failure or an exception is logged, its rows dropped and its
// entry added to `failures` (when not null).
void collect_rows(DataStoreController& controller, unsigned short opcode,
                  ReadParameters const& parameters, DataStoreInstance const& datastore,
                  std::vector<Row>& rows, std::vector<DatastoreFailure>* failures) {
    std::string const& name = datastore.first.instance_name;
    try {
        std::vector<Row> fetched;
        int const result =
            controller.control(datastore.second, opcode, &parameters, &fetched, nullptr);
        if (result != DataStoreExtension::OPERATION_SUCCESSFULL) {
            log_query_result(result, name);
            detail::add_failure(failures, name, datastore.second, result);
            return;
        }
        for (Row& row : fetched) {
            row.datastore_source = name;
        }
        if (rows.empty()) {
            // Taking the whole vector spares a second array of every row
            // while the first one is still alive: peak memory of big reads.
            rows = std::move(fetched);
        } else {
            rows.insert(rows.end(), std::make_move_iterator(fetched.begin()),
                        std::make_move_iterator(fetched.end()));
        }
    } catch (...) {
        // The quote before "from" and the missing operation name are the
        // message's long-standing form.
        log::ErrorLog(kSourceFile, "execControl", 870, kDebug).stream()
            << "Pulling data failed for "
            << "\""
            << " from the datastore source "
            << "\"" << name << "\"";
        detail::add_thrown(failures, name);
    }
}

// execControl, also telling which datastores failed.
bool exec_control(unsigned short opcode, ReadParameters const& parameters, std::vector<Row>& rows,
                  std::vector<DatastoreFailure>* failures) try {
    rows.clear();
    if (failures != nullptr) {
        failures->clear();
    }
    std::shared_ptr<DataStoreController> controller =
        DataStoreController::createDataStoreController().lock();
    if (!controller) {
        return false;
    }
    for (DataStoreInstance const& datastore : DataStoreParseUtility::get_datastore_vector()) {
        // Datastores that only stream data hold no rows to read.
        if (datastore.first.source_types.test(data)) {
            collect_rows(*controller, opcode, parameters, datastore, rows, failures);
        }
    }
    return !rows.empty();
} catch (...) {
    rows.clear();
    return false;
}

}  // namespace

// Outside the per-datastore step only allocation can fail; the front end
// then answers "nothing found" rather than throwing.
int execute_ioctl(std::vector<std::string> names, unsigned short opcode, void const* in, void* out,
                  void* extra, ResultCallback callback) try {
    std::shared_ptr<DataStoreController> controller =
        DataStoreController::createDataStoreController().lock();
    if (!controller) {
        return 0;
    }
    for (DataStoreInstance const& datastore :
         DataStoreParseUtility::locate_datastores(std::move(names))) {
        std::string const& name = datastore.first.instance_name;
        int result = DataStoreExtension::OPERATION_UNSUCCESSFULL;
        try {
            result = controller->control(datastore.second, opcode, in, out, extra);
            detail::log_operation_result(result, opcode, name);
            if (callback != nullptr) {
                callback(result, opcode, datastore.second, out, extra);
            }
        } catch (...) {
            // Two blanks before "from": the message's long-standing form.
            log::ErrorLog(kSourceFile, "execute_ioctl", 1124, kDebug).stream()
                << "Pulling data failed for "
                << " from the database source "
                << "\"" << name << "\"";
            continue;
        }
        if (result == DataStoreExtension::OPERATION_SUCCESSFULL) {
            return 1;
        }
    }
    return 0;
} catch (...) {
    return 0;
}

bool execControl(unsigned short opcode, ReadParameters const& parameters, std::vector<Row>& rows) {
    return exec_control(opcode, parameters, rows, nullptr);
}

bool select_data(std::string query, std::vector<Row>& rows,
                 std::map<std::string, int> const& fields, bool /*flag*/) {
    return select_data_with_failures(std::move(query), rows, fields, nullptr);
}

bool select_data_with_failures(std::string query, std::vector<Row>& rows,
                               std::map<std::string, int> const& fields,
                               std::vector<DatastoreFailure>* failures) {
    if (failures != nullptr) {
        failures->clear();
    }
    if (query.empty()) {
        rows.clear();
        return false;
    }
    SQLParameters sql;
    sql.query = std::move(query);
    sql.fields = fields;
    ReadParameters parameters;
    parameters.sql = &sql;
    return exec_control(OP_SELECT, parameters, rows, failures);
}

bool select_provider_data(std::vector<std::string> providers, std::vector<Row>& rows,
                          std::string selection, bool /*flag*/) {
    return select_provider_data_with_failures(std::move(providers), rows, std::move(selection),
                                              nullptr);
}

bool select_provider_data_with_failures(std::vector<std::string> providers, std::vector<Row>& rows,
                                        std::string selection,
                                        std::vector<DatastoreFailure>* failures) {
    if (failures != nullptr) {
        failures->clear();
    }
    if (providers.empty()) {
        rows.clear();
        return false;
    }
    SQLParameters sql;
    sql.filter = str::stripws(std::move(selection));
    ReadParameters parameters;
    parameters.providers = std::move(providers);
    parameters.sql = &sql;
    return exec_control(OP_SELECT, parameters, rows, failures);
}

bool get_latest_rows_provider_data(std::vector<std::string> const& providers,
                                   std::vector<Row>& rows, std::string host, bool flag) {
    std::vector<std::string> hosts;
    if (!host.empty()) {
        hosts.push_back(std::move(host));
    }
    return get_latest_rows_provider_hosts_data(providers, rows, hosts, flag);
}

bool get_latest_rows_provider_hosts_data(std::vector<std::string> const& providers,
                                         std::vector<Row>& rows,
                                         std::vector<std::string> const& hosts, bool /*flag*/) {
    return get_latest_rows_provider_hosts_data_with_failures(providers, rows, hosts, nullptr);
}

bool get_latest_rows_provider_hosts_data_with_failures(std::vector<std::string> const& providers,
                                                       std::vector<Row>& rows,
                                                       std::vector<std::string> const& hosts,
                                                       std::vector<DatastoreFailure>* failures) {
    if (failures != nullptr) {
        failures->clear();
    }
    if (providers.empty()) {
        rows.clear();
        return false;
    }
    ReadParameters parameters;
    parameters.providers = providers;
    parameters.hostnames = hosts;
    std::vector<Row> merged;
    bool const found = exec_control(OP_GET_LATEST_ROWS, parameters, merged, failures);
    // Each datastore sends its own latest rows; only the greatest stamp of a
    // provider and host survives across all of them.
    detail::keep_latest_rows(merged, rows);
    return found;
}

bool get_hosts_data(std::vector<Row>& rows, std::map<std::string, int> const& fields,
                    bool /*flag*/) {
    return get_hosts_data_with_failures(rows, fields, nullptr);
}

bool get_hosts_data_with_failures(std::vector<Row>& rows, std::map<std::string, int> const& fields,
                                  std::vector<DatastoreFailure>* failures) {
    SQLParameters sql;
    sql.fields = fields;
    ReadParameters parameters;
    // The hosts are described by the records of the provider "uname". The
    // datastores run their own hosts query, so the name is informative only.
    parameters.providers = {"uname"};
    parameters.sql = &sql;
    return exec_control(OP_SELECT_HOSTS, parameters, rows, failures);
}

}  // namespace vexa::datastore
