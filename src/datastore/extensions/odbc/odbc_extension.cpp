#include "odbc_extension.h"

#include <exception>
#include <stdexcept>

#include <datastore/vocabulary.h>
#include <util/log.h>

#include "insert.h"
#include "row_reader.h"
#include "schema_setup.h"
#include "statements.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// Unless the source parameters say otherwise, a server that does not
// answer fails the login in this time, not a TCP timeout; password hashing
// on a busy machine can take seconds of it.
constexpr SQLUINTEGER default_login_timeout_seconds = 15;

// The login bound of `source` in whole seconds, a part counted whole.
SQLUINTEGER login_timeout_seconds(SourceSettings const& source) {
    if (source.timeout == std::chrono::milliseconds::zero()) {
        return default_login_timeout_seconds;
    }
    return static_cast<SQLUINTEGER>((source.timeout.count() + 999) / 1000);
}
// Attempts at making a lost connection again within one call.
constexpr int reconnect_attempts = 2;

// Nothing may escape the plug-in's operations through logging.
void log_warning(std::string const& text) noexcept {
    try {
        log::ErrorLog(4).stream() << text;
    } catch (...) {
    }
}

}  // namespace

OdbcExtension::~OdbcExtension() {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (batch_.is_running() && connection_ != nullptr) {
        // A batch still open when the instance closes is committed, its
        // waiting rows sent first; when they fail, it is rolled back and
        // logged instead.
        try {
            SQLEndTran(SQL_HANDLE_DBC, recovering([&] { return connection().get(); }), SQL_COMMIT);
        } catch (...) {
        }
    }
    inserter_.reset();
    connection_.reset();
}

int OdbcExtension::open_instance(std::string const& source_parameters) {
    std::lock_guard<std::mutex> const lock(mutex_);
    opened_ = false;
    pending_.clear();
    inserter_.reset();
    connection_.reset();
    try {
        try {
            source_ = read_source_settings(source_parameters);
        } catch (std::runtime_error const& error) {
            // Logged without a source: none has been read.
            log_warning(std::string("odbc: ") + error.what());
            remember_failure(error.what());
            return OPERATION_UNSUCCESSFULL;
        }
        set_time_limit(source_.timeout);
        if (environment_ == nullptr) {
            environment_.reset(allocate(SQL_HANDLE_ENV, SQL_NULL_HANDLE));
            check(SQLSetEnvAttr(environment_.get(), SQL_ATTR_ODBC_VERSION,
                                reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
                  SQL_HANDLE_ENV, environment_.get(), "SQL_ATTR_ODBC_VERSION");
        }
        connect();
        if (!has_state_) {
            log::ErrorLog(6).stream() << "odbc " << source_.display()
                                      << ": no latest-row state in the database; latest rows come "
                                         "from the composed query";
        }
        // Written once, before the instance is shared: interface::control
        // reads it without the lock, so a reconnection leaves it alone.
        hosts_query = has_state_          ? common::hosts_from_state_query()
                      : grouping_refused_ ? latest_hosts_query()
                                          : common::composed_hosts_query();
        opened_ = true;
        return OPERATION_SUCCESSFULL;
    } catch (std::exception const& error) {
        inserter_.reset();
        connection_.reset();
        log_warning("odbc " + source_.display() + ": " + error.what());
        remember_failure(error.what());
    } catch (...) {
        inserter_.reset();
        connection_.reset();
    }
    return OPERATION_UNSUCCESSFULL;
}

void OdbcExtension::connect() {
    auto connection =
        std::make_unique<Connection>(environment_.get(), source_.connection_string(),
                                     source_.read_only, login_timeout_seconds(source_));
    dbms_name_ = connection->info(SQL_DBMS_NAME);
    Dbms const dbms = dbms_of(dbms_name_);
    dbms_ = dbms;
    std::string const version_sql = version_query(dbms);
    dbms_version_ = version_sql.empty() ? connection->info(SQL_DBMS_VER)
                                        : first_text(connection->get(), version_sql);
    dbms_version_ = dbms_version_.substr(0, dbms_version_.find(' '));
    if (source_.read_only) {
        std::string const refuse_writes = read_only_statement(dbms);
        if (!refuse_writes.empty()) {
            execute(connection->get(), refuse_writes);
        }
    } else {
        create_schema(connection->get(), dbms, source_.display());
        inserter_ = std::make_unique<Inserter>(connection->get());
    }
    grouping_refused_ = !accepts_grouped_latest_rows(dbms);
    has_state_ = has_latest_state(connection->get(), dbms);
    connection_ = std::move(connection);
}

Connection& OdbcExtension::connection() {
    if (!opened_) {
        throw std::runtime_error("odbc: the instance is not open");
    }
    for (int attempt = 1; connection_ == nullptr; ++attempt) {
        try {
            connect();
        } catch (OdbcError const& error) {
            inserter_.reset();
            log_warning("odbc " + source_.display() + ": reconnecting: " + error.what());
            if (attempt == reconnect_attempts) {
                throw;
            }
        }
    }
    if (!pending_.empty()) {
        inserter_->store(pending_);
    }
    return *connection_;
}

ReadOnlyRead OdbcExtension::read_only_read() {
    return ReadOnlyRead(connection().get(), dbms_, batch_.is_running(), source_.read_only);
}

void OdbcExtension::after_failure(std::exception const& error) {
    pending_.clear();
    common::note_failure(error.what());  // the driver's diagnostics, for OP_LAST_FAILURE
    if (batch_.is_running()) {
        batch_.roll_back(connection_ == nullptr ? SQL_NULL_HDBC : connection_->get(), instance_name,
                         error.what());
    }
    auto const* odbc_error = dynamic_cast<OdbcError const*>(&error);
    bool const lost = odbc_error != nullptr && odbc_error->connection_lost();
    if (connection_ != nullptr && (lost || connection_->dead())) {
        log_warning("odbc " + source_.display() + ": connection lost: " + error.what());
        inserter_.reset();
        connection_.reset();
    }
}

bool OdbcExtension::is_ready() {
    std::lock_guard<std::mutex> const lock(mutex_);
    return opened_;
}

std::string OdbcExtension::describe() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (!opened_) {
        return "odbc " + source_.display() + " (not open)";
    }
    return "odbc " + dbms_name_ + " " + dbms_version_ + " " + source_.display() +
           (source_.read_only ? " (read-only)" : " (read-write)");
}

bool OdbcExtension::select(std::string query, std::vector<Row>& out,
                           std::map<std::string, int> const& fields) {
    std::lock_guard<std::mutex> const lock(mutex_);
    return recovering([&] {
        ReadOnlyRead const read_only = read_only_read();
        Connection const& link = connection();
        Statement const statement = new_statement(link.get());
        check(SQLExecDirect(statement.get(), reinterpret_cast<SQLCHAR*>(query.data()),
                            static_cast<SQLINTEGER>(query.size())),
              SQL_HANDLE_STMT, statement.get(), "SQLExecDirect");
        RowReader reader(statement.get(), fields, fetching_of(link));
        Row row;
        while (reader.read(row)) {
            out.push_back(std::move(row));
            row = Row();
        }
        if (link.dead()) {
            // The driver may end a cursor it lost as if it had been read.
            throw OdbcError("SQLFetch: the connection was lost before the last row", true);
        }
        return true;
    });
}

bool OdbcExtension::insert(provider::header const& header, std::string const& option_id,
                           std::string const& stdout_text, std::string const& stderr_text) {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (source_.read_only || !opened_ || batch_.has_failed()) {
        return false;  // a failed batch takes nothing more
    }
    return recovering([&] {
        pending_.add(header, option_id, stdout_text, stderr_text);
        if (!batch_.is_running() || pending_.size() == rows_per_statement) {
            connection();  // stores the waiting runs
        }
        return true;
    });
}

bool OdbcExtension::grouping_refused() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return grouping_refused_;
}

bool OdbcExtension::has_state() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return has_state_;
}

bool OdbcExtension::get_latest_rows_provider(std::vector<std::string> providers,
                                             std::vector<Row>& out,
                                             std::vector<std::string> hosts) {
    if (has_state()) {
        return select_latest_rows(std::move(providers), std::move(hosts), out,
                                  common::latest_rows_from_state_head(),
                                  common::latest_rows_from_state_tail());
    }
    if (!grouping_refused()) {
        return interface::get_latest_rows_provider(std::move(providers), out, std::move(hosts));
    }
    QueryAround const query = latest_rows_query();
    return select_latest_rows(std::move(providers), std::move(hosts), out, query.head, query.tail);
}

bool OdbcExtension::get_latest_collect_rows(std::vector<std::string> providers,
                                            std::vector<Row>& out, std::vector<std::string> hosts) {
    if (!grouping_refused()) {
        return interface::get_latest_collect_rows(std::move(providers), out, std::move(hosts));
    }
    QueryAround const query = latest_collect_rows_query();
    return select_latest_rows(std::move(providers), std::move(hosts), out, query.head, query.tail);
}

}  // namespace vexa::datastore::odbc_plugin
