// Helpers of the SQLite plug-in's suites: configurations of this build's
// libsqlite.so, control calls by instance name, provider runs with every
// member set, and looks at a database file from outside the library (a plain
// SQLite connection and the sqlite3 command-line program).
#ifndef VEXA_TESTS_SUPPORT_SQLITE_DATASTORES_H_
#define VEXA_TESTS_SUPPORT_SQLITE_DATASTORES_H_

#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>
#include <util/str.h>

#include "program.h"
#include "test_support.h"

namespace vexa::test {

using datastore::DataStoreConfig;
using datastore::DataStoreController;
using datastore::DataStoreExtension;
using datastore::DataStoreParseUtility;
using datastore::InsertRequest;
using datastore::Row;

inline std::string sqlite_params(std::string const& file, bool read_only) {
    return "source=" + file + (read_only ? "|read_only=true" : "|read_only=false");
}

// A record naming this build's SQLite plug-in.
inline DataStoreConfig sqlite_config(std::string const& name,
                                     std::string const& source_parameters) {
    DataStoreConfig config;
    config.type = datastore::sqlite3;
    config.instance_name = name;
    config.extension_name = "libsqlite.so";
    config.extension_path = str::dirname(VEXA_SQLITE_PLUGIN);
    config.source_parameters = source_parameters;
    return config;
}

// Registers one SQLite instance; the controller's exceptions pass through.
inline void open_sqlite(std::string const& name, std::string const& source_parameters) {
    std::vector<DataStoreConfig> configs{sqlite_config(name, source_parameters)};
    DataStoreParseUtility::initializeDatastoreExtensions(configs);
}

// The text the controller throws when the plug-in cannot open `name`.
inline std::string open_failed_text(std::string const& name) {
    return std::string("Extension name/path ") + VEXA_SQLITE_PLUGIN + ", instance " + name +
           " open failed";
}

// The message of the exception `action` throws, or "" when it throws none.
inline std::string thrown_text(std::function<void()> const& action) {
    try {
        action();
    } catch (std::exception const& error) {
        return error.what();
    }
    return "";
}

inline std::weak_ptr<DataStoreExtension> handle_of(std::string const& name) {
    auto const found = DataStoreParseUtility::locate_datastores({name});
    if (found.empty()) {
        throw std::runtime_error("no datastore named " + name);
    }
    return found.front().second;
}

inline std::shared_ptr<DataStoreExtension> extension_of(std::string const& name) {
    return handle_of(name).lock();
}

// One control call on the instance `name`, as the front end makes it.
inline int control(std::string const& name, unsigned short opcode, void const* in, void* out) {
    auto const controller = DataStoreController::createDataStoreController().lock();
    return controller->control(handle_of(name), opcode, in, out, nullptr);
}

inline int insert_run(std::string const& name, InsertRequest request) {
    return control(name, datastore::OP_INSERT, nullptr, &request);
}

// OP_SELECT of a complete query text, read with `fields`.
inline int select_query(std::string const& name, std::string const& query, std::vector<Row>& rows,
                        std::map<std::string, int> const& fields = datastore::column_index_map) {
    datastore::SQLParameters sql;
    sql.query = query;
    sql.fields = fields;
    datastore::ReadParameters parameters;
    parameters.sql = &sql;
    return control(name, datastore::OP_SELECT, &parameters, &rows);
}

// A provider run whose every member is set and differs with `stamp`.
inline InsertRequest provider_run(std::string const& provider, std::string const& host,
                                  std::int64_t stamp, std::string const& option_id = "opt-a") {
    InsertRequest run;
    run.header.Provider = provider;
    run.header.Hostname = host;
    run.header.num_nodes = 3;
    run.header.node_names = {host, host + "-peer1", host + "-peer2"};
    run.header.Exit_status = static_cast<std::int32_t>(stamp % 7);
    run.header.Timestamp = 1'700'000'000 + stamp;
    run.header.Duration = 0.5 + static_cast<double>(stamp % 100) / 8.0;
    run.header.Encoding = provider::base64;
    run.header.version = 41 + static_cast<std::int32_t>(stamp % 3);
    run.header.Username = "svc_" + provider;
    run.header.Unique_timestamp = 1'700'000'000'000'000 + stamp;
    run.option_id = option_id;
    run.stdout_text = provider + " on " + host + " says " + std::to_string(stamp) + "\n";
    run.stderr_text = "warning " + std::to_string(stamp);
    return run;
}

// Every member of `row` but rowid and datastore_source equals `run`'s.
inline void expect_row_of(Row const& row, InsertRequest const& run) {
    EXPECT_EQ(row.Provider, run.header.Provider);
    EXPECT_EQ(row.Hostname, run.header.Hostname);
    EXPECT_EQ(row.num_nodes, run.header.num_nodes);
    EXPECT_EQ(row.node_names, run.header.node_names);
    EXPECT_EQ(row.Exit_status, run.header.Exit_status);
    EXPECT_EQ(row.Timestamp, run.header.Timestamp);
    EXPECT_EQ(row.Duration, run.header.Duration);
    EXPECT_EQ(row.Encoding, run.header.Encoding);
    EXPECT_EQ(row.STDOUT, run.stdout_text);
    EXPECT_EQ(row.STDERR, run.stderr_text);
    EXPECT_EQ(row.OptionID, run.option_id);
    EXPECT_EQ(row.version, run.header.version);
    EXPECT_EQ(row.Username, run.header.Username);
    EXPECT_EQ(row.Unique_timestamp, run.header.Unique_timestamp);
}

// Rows of a query without ORDER BY come in the order of its plan; sorting
// by host makes them comparable.
inline void sort_by_host(std::vector<Row>& rows) {
    std::stable_sort(rows.begin(), rows.end(),
                     [](Row const& a, Row const& b) { return a.Hostname < b.Hostname; });
}

// A plain SQLite connection, for looking at a file from outside the library.
class PlainConnection {
  public:
    explicit PlainConnection(std::string const& file, bool read_only = true) {
        int const flags =
            read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
        if (sqlite3_open_v2(file.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
            std::string const message = sqlite3_errmsg(db_);
            sqlite3_close(db_);
            throw std::runtime_error("cannot open " + file + ": " + message);
        }
    }
    ~PlainConnection() { sqlite3_close(db_); }
    PlainConnection(PlainConnection const&) = delete;
    PlainConnection& operator=(PlainConnection const&) = delete;

    // Every result row of `sql`, its columns as text joined with "|" (NULL
    // as "NULL").
    std::vector<std::string> rows(std::string const& sql) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
            throw std::runtime_error(sql + ": " + sqlite3_errmsg(db_));
        }
        std::vector<std::string> result;
        while (sqlite3_step(statement) == SQLITE_ROW) {
            std::string line;
            for (int c = 0; c < sqlite3_column_count(statement); ++c) {
                auto const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, c));
                line += (c == 0 ? "" : "|") +
                        (text == nullptr ? std::string("NULL")
                                         : std::string(text, sqlite3_column_bytes(statement, c)));
            }
            result.push_back(line);
        }
        sqlite3_finalize(statement);
        return result;
    }

    void execute(std::string const& sql) {
        if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            throw std::runtime_error(sql + ": " + sqlite3_errmsg(db_));
        }
    }

  private:
    ::sqlite3* db_ = nullptr;
};

// Everything a plain connection sees in `file`: its schema and every row of
// both tables, for before-and-after comparisons.
inline std::vector<std::string> contents_of(std::string const& file) {
    PlainConnection db(file);
    std::vector<std::string> all = db.rows(
        "SELECT type, name, sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_%' "
        "ORDER BY name;");
    for (std::string const& line : db.rows("SELECT * FROM provider_datastore ORDER BY rowid;")) {
        all.push_back(line);
    }
    for (std::string const& line : db.rows("SELECT * FROM baseline_datastore ORDER BY rowid;")) {
        all.push_back(line);
    }
    return all;
}

// Runs the sqlite3 command-line program on `db` with `sql` as its input;
// returns its exit status and puts what it printed (both streams) in
// `output`.
inline int run_sqlite3_program(std::string const& db, std::string const& sql, std::string& output) {
    ProgramRun run{{"sqlite3", "-batch", db}, {}, sql};
    run.error_into_output = true;
    ProgramOutcome const outcome = run_program(run);
    output = outcome.out;
    return outcome.status;
}

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_SQLITE_DATASTORES_H_
