// The ODBC datastore: one connection per instance to a data source of any
// database system, through the system's ODBC driver manager.
#ifndef VEXA_ODBC_PLUGIN_ODBC_EXTENSION_H_
#define VEXA_ODBC_PLUGIN_ODBC_EXTENSION_H_

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/operations.h>

#include "batch.h"
#include "call_deadline.h"
#include "connection.h"
#include "dialect.h"
#include "insert.h"
#include "odbc_calls.h"
#include "plugin_extension.h"
#include "read_only_read.h"
#include "source_settings.h"

namespace vexa::datastore::odbc_plugin {

class OdbcExtension : public common::PluginExtension {
  public:
    ~OdbcExtension() override;

    // Reads "DSN" or "CONNECTION STRING" (it holds "="), optionally followed
    // by "|read_only=true|false", connects and, when writable, creates the
    // tables, view and index that are missing in the database system's
    // dialect. Returns 0, or 1 with every diagnostic record of the failure
    // logged at level 4. Never throws.
    int open_instance(std::string const& source_parameters) override;
    // Whether the instance was opened; a lost connection is made again by
    // the next call that needs it.
    bool is_ready() override;
    // "odbc PostgreSQL 15.20 dsn=NAME (read-write)" or "(read-only)".
    std::string describe() const override;

    // Runs `query` and appends its rows. The database system refuses any
    // change the query would make (see ReadOnlyRead). Throws
    // std::runtime_error with the driver's diagnostics on failure; a lost
    // connection is logged at level 4 and made again by a later call.
    bool select(std::string query, std::vector<Row>& out,
                std::map<std::string, int> const& fields) override;
    // Appends one row with bound values; the database numbers it. False on
    // a read-only instance, which is never written. Throws on a node name
    // holding a comma, which the stored list could not tell apart. Inside a
    // batch the row may wait for the next ones and be sent with them, so a
    // failure of the row may be reported by a later call of the batch.
    bool insert(provider::header const& header, std::string const& option_id,
                std::string const& stdout_text, std::string const& stderr_text) override;

    // From the latest-row state where the database holds it; otherwise,
    // where the database system refuses the composed grouping, the same
    // results from standard SQL; elsewhere the composed operations.
    bool get_latest_rows_provider(std::vector<std::string> providers, std::vector<Row>& out,
                                  std::vector<std::string> hosts) override;
    bool get_latest_collect_rows(std::vector<std::string> providers, std::vector<Row>& out,
                                 std::vector<std::string> hosts) override;

  private:
    // Whether the database system refused the composed grouping.
    bool grouping_refused() const;
    // Whether the database holds the latest-row state.
    bool has_state() const;
    // Connects, creates the schema when writable and prepares the insert.
    void connect();
    // The open connection, made again first when it was lost, with the
    // waiting runs stored on it, so that whatever runs next sees them.
    Connection& connection();
    // A scope in which the open connection cannot write.
    ReadOnlyRead read_only_read();
    // After a failed call: drops the waiting runs, rolls an open batch back
    // (a failed statement ends PostgreSQL's transaction anyway), and forgets
    // a lost connection (logging why) so that a later call makes it again.
    void after_failure(std::exception const& error);
    // Runs `body` within the instance's time limit (see CallDeadline); when
    // it throws, after_failure() comes first, then the failure goes on, as
    // std::runtime_error saying it timed out when the limit had passed. A
    // body that ends well after the limit keeps its result: what it wrote
    // is stored.
    template <typename Body>
    auto recovering(Body body) -> decltype(body()) {
        CallDeadline const deadline(time_limit());
        try {
            return body();
        } catch (std::exception const& error) {
            after_failure(error);
            if (deadline.expired()) {
                throw std::runtime_error(deadline.timed_out_text());
            }
            throw;
        }
    }

    // The project's own operations, in odbc_operations.cpp.
    int query_table_operation(std::string const& sql, Table& out) override;
    // In streamed_query.cpp: fetches row by row from a driver that reads
    // the result in bounded parts (the connection's fetch settings); the
    // lock is held until the read ends.
    int stream_query_operation(StreamRequest const& request, StreamResult& result) override;
    bool begin_batch() override;
    bool commit_batch() override;
    int prune_operation(PruneRequest const& request, std::uint64_t& removed) override;
    // In failing_since.cpp.
    int failing_since_operation(std::vector<RunPairBound> const& pairs,
                                std::vector<RunPairHistory>& out) override;

    mutable std::mutex mutex_;  // serialises the connection between threads
    SourceSettings source_;
    bool opened_ = false;
    Environment environment_;
    std::unique_ptr<Connection> connection_;
    std::unique_ptr<Inserter> inserter_;  // made with the connection when writable
    // Runs of the batch not yet sent: a batch sends them rows_per_statement
    // at a time, and before anything else uses the connection.
    PendingRuns pending_;
    std::string dbms_name_;
    Dbms dbms_ = Dbms::other;
    std::string dbms_version_;
    bool grouping_refused_ = false;
    bool has_state_ = false;
    Batch batch_;
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_ODBC_EXTENSION_H_
