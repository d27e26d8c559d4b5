// The ODBC datastore: one connection per instance to a data source of any
// database system, through the system's ODBC driver manager.
#ifndef VEXA_ODBC_PLUGIN_ODBC_EXTENSION_H_
#define VEXA_ODBC_PLUGIN_ODBC_EXTENSION_H_

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <datastore/extension.h>

#include "connection.h"
#include "data_source.h"
#include "dialect.h"
#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

class OdbcExtension : public interface {
  public:
    OdbcExtension();
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

    // Runs `query` and appends its rows. Throws std::runtime_error with the
    // driver's diagnostics on failure; a lost connection is logged at level
    // 4 and made again by a later call.
    bool select(std::string query, std::vector<Row>& out,
                std::map<std::string, int> const& fields) override;
    // Appends one row with bound values; the database numbers it. False on
    // a read-only instance, which is never written. Throws on a node name
    // holding a comma, which the stored list could not tell apart.
    bool insert(provider::header const& header, std::string const& option_id,
                std::string const& stdout_text, std::string const& stderr_text) override;

    // Serves the project's own operations (datastore/operations.h) and
    // hands every other opcode to interface::control. Never throws; a
    // failure of an own operation is logged at level 4 with the instance.
    int control(unsigned short opcode, void const* in, void* out, void* extra) override;

    // Where the database system refuses the composed grouping, the same
    // results from standard SQL; elsewhere the composed operations.
    bool get_latest_rows_provider(std::vector<std::string> providers, std::vector<Row>& out,
                                  std::vector<std::string> hosts) override;
    bool get_latest_collect_rows(std::vector<std::string> providers, std::vector<Row>& out,
                                 std::vector<std::string> hosts) override;

  private:
    using Composer = std::string (*)(std::string const& where);

    // Whether the database system refused the composed grouping.
    bool grouping_refused() const;
    // The composed latest-row operations' steps (is_ready, clearing `out`,
    // the where clause and its exceptions) with the standard-SQL text that
    // `compose` makes.
    bool latest_rows(std::vector<std::string> providers, std::vector<Row>& out,
                     std::vector<std::string> hosts, Composer compose);
    // Connects, creates the schema when writable and prepares the insert.
    void connect();
    // The open connection, made again first when it was lost.
    Connection& connection();
    // After a failed call: rolls an open batch back (a failed statement
    // ends PostgreSQL's transaction anyway), and forgets a lost connection
    // (logging why) so that a later call makes it again.
    void after_failure(std::exception const& error);
    // Rolls the open batch back after `reason` and logs it; the batch stays
    // failed until OP_COMMIT_BATCH ends it.
    void roll_back_batch(std::string const& reason) noexcept;
    // Switches the connection's autocommit on or off.
    void set_autocommit(bool on);

    int query_table_operation(void const* in, void* out);
    int prune_operation(void const* in, void* out);
    bool begin_batch();
    bool commit_batch();

    mutable std::mutex mutex_;  // serialises the connection between threads
    DataSource source_;
    bool opened_ = false;
    Environment environment_;
    std::unique_ptr<Connection> connection_;
    Statement insert_statement_;  // prepared once per connection when writable
    std::string dbms_name_;
    std::string dbms_version_;
    bool grouping_refused_ = false;
    enum class Batch { none, open, failed };
    Batch batch_ = Batch::none;
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_ODBC_EXTENSION_H_
