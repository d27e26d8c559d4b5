// odbc-bench: the ODBC plug-in on a throwaway PostgreSQL server, against
// psql on the same server in the same run.
//
//   odbc-bench [--smoke] [--hosts N] [--repetitions N] [--insert-rows N] [--export-only]
//   odbc-bench --state [--hosts N] [--runs N] [--repetitions N] [--insert-rows N]
//
// The workload is vexa-bench's (hosts x 50 providers x 10 runs; 2,000 hosts
// make 1,000,000 rows), loaded with psql's \copy, whose rate is the ceiling
// of the insert figure. Figures: reading every row through
// select_provider_data vs psql's \copy (SELECT ...) TO /dev/null (medians);
// the latest rows of one provider with and without the latest-row index;
// OP_INSERT one row per call, alone and in one batch, vs \copy FROM; the peak resident memory of
// the read over that of the same rows built in memory. The read is also timed with plain ODBC calls
// that fetch the same rows into bound buffers and keep nothing: what the driver alone costs, so
// that the library's own share of the read shows; adding the time of building the same rows in
// memory gives the floor of any reader that returns them. --smoke is 20 hosts (10,000 rows), 1
// repetition, 500 inserted rows. Last, the tool's `--format jsonl select` of every row from the
// server, streamed, against the same export read whole (see tool_export.h): peak memory and time.
//
// --state times the latest-row state instead, on hosts x 10 providers (x 3
// options) pairs: the latest rows of all providers with --runs runs of
// history (default 1,000) vs 10, and vs the standard query once the state
// is dropped; OP_INSERT one row per call and in a batch, each vs the same
// without the state's triggers.
#include <malloc.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <sql.h>
#include <sqlext.h>

#include <datastore/datastore.h>

#include "plain_sqlite.h"
#include "record_lines.h"
#include "tool_export.h"
#include "workload.h"

namespace {

using vexa::bench::WorkloadShape;
using vexa::datastore::Row;

struct Options {
    WorkloadShape shape;
    int repetitions = 3;
    int insert_rows = 20'000;
    bool state = false;
    int runs = 1000;
    bool export_only = false;
};

Options parse_options(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        auto number = [&] {
            if (i + 1 >= argc) {
                throw std::invalid_argument(arg + " needs a number");
            }
            return std::stoi(argv[++i]);
        };
        if (arg == "--smoke") {
            options.shape.hosts = 20;
            options.repetitions = 1;
            options.insert_rows = 500;
        } else if (arg == "--hosts") {
            options.shape.hosts = number();
        } else if (arg == "--repetitions") {
            options.repetitions = number();
        } else if (arg == "--insert-rows") {
            options.insert_rows = number();
        } else if (arg == "--state") {
            options.state = true;
            options.shape.hosts = 100;
            options.shape.providers = 10;
            options.insert_rows = 5000;
        } else if (arg == "--runs") {
            options.runs = number();
        } else if (arg == "--export-only") {
            options.export_only = true;
        } else {
            throw std::invalid_argument("unknown option " + arg);
        }
    }
    return options;
}

void shell(std::string const& command) {
    int const status = std::system(command.c_str());
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("failed: " + command);
    }
}

double seconds_of(void (*work)(void*), void* context) {
    auto const start = std::chrono::steady_clock::now();
    work(context);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <typename Work>
double seconds(Work work) {
    return seconds_of([](void* w) { (*static_cast<Work*>(w))(); }, &work);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// VmHWM or VmRSS of this process, in KiB.
long status_kib(char const* key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(key, 0) == 0) {
            return std::stol(line.substr(std::string(key).size()));
        }
    }
    throw std::runtime_error(std::string("no ") + key + " in /proc/self/status");
}

// The peak resident memory that `work` adds, in KiB.
template <typename Work>
long added_peak_kib(Work work) {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts again from here
    long const before = status_kib("VmRSS:");
    work();
    return status_kib("VmHWM:") - before;
}

// The throwaway server, its DSNs in ODBCSYSINI, and psql on it.
class Server {
  public:
    Server() {
        char dir[] = "/tmp/odbc-bench.XXXXXX";
        if (mkdtemp(dir) == nullptr) {
            throw std::runtime_error("cannot make a temporary directory");
        }
        state_ = dir;
        shell(std::string(VEXA_PG_SERVER_SCRIPT) + " start " + state_ + " >/dev/null");
        setenv("ODBCSYSINI", state_.c_str(), 1);
        std::ifstream(state_ + "/port") >> port_;
    }
    ~Server() {
        std::system((std::string(VEXA_PG_SERVER_SCRIPT) + " stop " + state_).c_str());
        std::system(("rm -rf " + state_).c_str());
    }

    std::string const& state() const { return state_; }
    void psql(std::string const& database, std::string const& command) const {
        shell("/usr/lib/postgresql/15/bin/psql -X -q -h 127.0.0.1 -p " + port_ +
              " -U postgres -v ON_ERROR_STOP=1 -d " + database + " -c \"" + command +
              "\" >/dev/null");
    }

  private:
    std::string state_;
    std::string port_;
};

std::string exact_real(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

// The workload as CSV in the provider table's column order (rowid aside).
void write_csv(WorkloadShape const& shape, std::string const& path) {
    std::ofstream out(path);
    for (std::size_t i = 0; i < shape.rows(); ++i) {
        out << vexa::bench::csv_line(vexa::bench::workload_as_row(shape, i, ""),
                                     vexa::datastore::first_stored_column, exact_real);
    }
}

// The rows the plug-in fetches at a time from psqlODBC (a block cursor).
constexpr SQLULEN rows_per_fetch = 256;

// Reads every row of `query` through the driver as the plug-in does (the
// same cursor settings, every column bound, texts into 4 KiB buffers,
// rows_per_fetch rows a fetch) and keeps nothing; returns the number of rows.
std::size_t bare_driver_read(std::string const& connection, std::string const& query) {
    auto check = [](SQLRETURN rc, char const* call) {
        if (!SQL_SUCCEEDED(rc)) {
            throw std::runtime_error(std::string(call) + " failed");
        }
    };
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLHSTMT statement = SQL_NULL_HSTMT;
    check(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), "SQLAllocHandle");
    check(SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
          "SQLSetEnvAttr");
    check(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), "SQLAllocHandle");
    std::string text = connection;
    check(SQLDriverConnect(dbc, nullptr, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS, nullptr,
                           0, nullptr, SQL_DRIVER_NOPROMPT),
          "SQLDriverConnect");
    check(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &statement), "SQLAllocHandle");
    SQLULEN fetched = 0;
    check(SQLSetStmtAttr(statement, SQL_ATTR_ROW_ARRAY_SIZE,
                         reinterpret_cast<SQLPOINTER>(rows_per_fetch), 0),
          "SQL_ATTR_ROW_ARRAY_SIZE");
    check(SQLSetStmtAttr(statement, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0),
          "SQL_ATTR_ROWS_FETCHED_PTR");
    text = query;
    check(SQLExecDirect(statement, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS),
          "SQLExecDirect");
    SQLSMALLINT columns = 0;
    check(SQLNumResultCols(statement, &columns), "SQLNumResultCols");
    std::vector<std::vector<char>> buffers(static_cast<std::size_t>(columns));
    std::vector<std::vector<SQLLEN>> indicators(buffers.size());
    for (SQLUSMALLINT c = 1; c <= columns; ++c) {
        SQLLEN type = 0;
        check(SQLColAttribute(statement, c, SQL_DESC_CONCISE_TYPE, nullptr, 0, nullptr, &type),
              "SQLColAttribute");
        SQLSMALLINT const c_type = type == SQL_BIGINT    ? SQL_C_SBIGINT
                                   : type == SQL_DOUBLE  ? SQL_C_DOUBLE
                                   : type == SQL_INTEGER ? SQL_C_SLONG
                                                         : SQL_C_CHAR;
        SQLLEN const width = c_type == SQL_C_CHAR ? 4096 : 8;
        std::vector<char>& buffer = buffers[c - 1u];
        buffer.resize(static_cast<std::size_t>(width) * rows_per_fetch);
        indicators[c - 1u].resize(rows_per_fetch);
        check(SQLBindCol(statement, c, c_type, buffer.data(), width, indicators[c - 1u].data()),
              "SQLBindCol");
    }
    std::size_t rows = 0;
    for (SQLRETURN rc; (rc = SQLFetch(statement)) != SQL_NO_DATA; rows += fetched) {
        check(rc, "SQLFetch");
    }
    SQLFreeHandle(SQL_HANDLE_STMT, statement);
    SQLDisconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
    return rows;
}

void open_instance(std::string const& name, std::string const& database) {
    vexa::datastore::DataStoreConfig config;
    config.type = vexa::datastore::odbc;
    config.instance_name = name;
    config.source_parameters = "DSN=vexa_pg;Database=" + database;
    std::vector<vexa::datastore::DataStoreConfig> configs{config};
    vexa::datastore::DataStoreParseUtility::initializeDatastoreExtensions(configs);
}

int control(unsigned short opcode, void const* in, void* out, std::string const& name = "bench") {
    auto const controller =
        vexa::datastore::DataStoreController::createDataStoreController().lock();
    auto const found = vexa::datastore::DataStoreParseUtility::locate_datastores({name});
    return controller->control(found.at(0).second, opcode, in, out, nullptr);
}

void print(std::string const& name, double library, double baseline, std::string const& unit,
           std::string const& target) {
    std::printf("%-44s %12.3f %12.3f %-6s %6.2f x  %s\n", name.c_str(), library, baseline,
                unit.c_str(), library / baseline, target.c_str());
}

// A database `name` holding `shape`, loaded with \copy through the state's
// triggers.
void load_database(Server const& server, std::string const& name, WorkloadShape const& shape) {
    server.psql("postgres", "CREATE DATABASE " + name);
    open_instance(name, name);  // creates the schema
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    std::string const csv = server.state() + "/" + name + ".csv";
    write_csv(shape, csv);
    server.psql(name, "\\copy " + vexa::datastore::table_name + "(" +
                          vexa::bench::stored_columns() + ") FROM '" + csv + "' WITH (FORMAT csv)");
    server.psql(name, "ANALYZE");
    std::remove(csv.c_str());
}

// Median seconds of OP_GET_LATEST_ROWS of `providers` on the instance `name`.
double latest_rows_seconds(std::string const& name, std::vector<std::string> const& providers,
                           int repetitions, std::size_t expected) {
    vexa::datastore::SQLParameters sql;
    vexa::datastore::ReadParameters parameters;
    parameters.providers = providers;
    parameters.sql = &sql;
    std::vector<double> times;
    for (int r = 0; r < repetitions + 1; ++r) {
        std::vector<Row> rows;
        double const time = seconds([&] {
            if (control(vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows, name) != 0) {
                throw std::runtime_error("the latest-row query failed");
            }
        });
        if (rows.size() != expected) {
            throw std::runtime_error("latest rows: " + std::to_string(rows.size()) +
                                     " rows, expected " + std::to_string(expected));
        }
        if (r > 0) {  // the first one warms the caches
            times.push_back(time);
        }
    }
    return median(times);
}

// Seconds of OP_INSERT of `count` new runs on the instance `name`, one
// per call or in one batch.
double insert_seconds(std::string const& name, WorkloadShape shape, int first, int count,
                      bool batched) {
    shape.runs += 1000;  // new stamps, beyond the stored history
    vexa::datastore::InsertRequest request;
    return seconds([&] {
        if (batched && control(vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr, name) != 0) {
            throw std::runtime_error("OP_BEGIN_BATCH failed");
        }
        for (int i = first; i < first + count; ++i) {
            request = vexa::bench::workload_row(shape, shape.rows() - static_cast<std::size_t>(i));
            if (control(vexa::datastore::OP_INSERT, nullptr, &request, name) != 0) {
                throw std::runtime_error("OP_INSERT failed");
            }
        }
        if (batched && control(vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr, name) != 0) {
            throw std::runtime_error("OP_COMMIT_BATCH failed");
        }
    });
}

int state_figures(Options const& options, Server const& server) {
    WorkloadShape short_shape = options.shape;
    short_shape.runs = 10;
    WorkloadShape long_shape = options.shape;
    long_shape.runs = options.runs;
    load_database(server, "state_short", short_shape);
    load_database(server, "state_long", long_shape);
    std::vector<std::string> const providers = vexa::bench::provider_names(options.shape.providers);
    std::size_t const pairs = static_cast<std::size_t>(options.shape.hosts) *
                              static_cast<std::size_t>(options.shape.providers) * 3;
    open_instance("state_short", "state_short");
    open_instance("state_long", "state_long");
    std::vector<double> ratios;
    double long_time = 0;
    double short_time = 0;
    for (int r = 0; r < options.repetitions; ++r) {
        long_time = latest_rows_seconds("state_long", providers, 1, pairs);
        short_time = latest_rows_seconds("state_short", providers, 1, pairs);
        ratios.push_back(long_time / short_time);
    }
    long_time = latest_rows_seconds("state_long", providers, options.repetitions, pairs);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    server.psql("state_long", "DROP TABLE provider_datastore_state CASCADE");
    vexa::datastore::DataStoreConfig config;
    config.type = vexa::datastore::odbc;
    config.instance_name = "state_composed";
    config.source_parameters = "DSN=vexa_pg;Database=state_long|read_only=true";
    std::vector<vexa::datastore::DataStoreConfig> configs{config};
    vexa::datastore::DataStoreParseUtility::initializeDatastoreExtensions(configs);
    double const composed_time =
        latest_rows_seconds("state_composed", providers, options.repetitions, pairs);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();

    // The same database twice, one without the state's triggers.
    server.psql("postgres", "CREATE DATABASE state_none TEMPLATE state_short");
    server.psql("state_none",
                "DROP TRIGGER provider_datastore_state_keep ON provider_datastore; DROP TRIGGER "
                "provider_datastore_state_insert ON provider_datastore");
    open_instance("state_short", "state_short");
    open_instance("state_none", "state_none");
    std::vector<double> with_state;
    std::vector<double> without_state;
    std::vector<double> batch_with_state;
    std::vector<double> batch_without_state;
    int next = 1;
    for (int r = 0; r < options.repetitions; ++r) {
        int const first = next;
        next += options.insert_rows;
        with_state.push_back(
            insert_seconds("state_short", short_shape, first, options.insert_rows, false));
        without_state.push_back(
            insert_seconds("state_none", short_shape, first, options.insert_rows, false));
        int const batch_first = next;
        next += options.insert_rows;
        batch_with_state.push_back(
            insert_seconds("state_short", short_shape, batch_first, options.insert_rows, true));
        batch_without_state.push_back(
            insert_seconds("state_none", short_shape, batch_first, options.insert_rows, true));
    }
    vexa::datastore::DataStoreParseUtility::clear_db_vector();

    double const rows = options.insert_rows;
    std::printf("state: %zu pairs; %d and 10 runs of history; %d repetitions, medians\n", pairs,
                options.runs, options.repetitions);
    std::printf("%-44s %12s %12s %-6s %8s  %s\n", "figure", "library", "baseline", "unit", "ratio",
                "target");
    std::printf("%-44s %12.3f %12.3f %-6s %6.2f x  %s\n", "latest rows, long vs short history",
                long_time * 1e3, short_time * 1e3, "ms", median(ratios), "at most 1.2 x");
    print("latest rows: standard query over the state", composed_time * 1e3, long_time * 1e3, "ms",
          "at least 20 x");
    print("OP_INSERT one per call, state vs none", rows / median(with_state),
          rows / median(without_state), "rows/s", "at least 0.8 x");
    print("OP_INSERT in a batch, state vs none", rows / median(batch_with_state),
          rows / median(batch_without_state), "rows/s", "at least 0.8 x");
    return 0;
}

}  // namespace

int main(int argc, char** argv) try {
    Options const options = parse_options(argc, argv);
    Server const server;
    if (options.state) {
        return state_figures(options, server);
    }
    server.psql("postgres", "CREATE DATABASE bench");
    server.psql("postgres", "CREATE DATABASE bench_insert");
    // Laid out first: that empties the registry.
    vexa::bench::ToolDatastore const empty =
        vexa::bench::empty_sqlite_datastore(server.state() + "/export-empty.db");
    open_instance("bench", "bench");  // creates the schema

    std::string const csv = server.state() + "/workload.csv";
    write_csv(options.shape, csv);
    std::string const columns =
        vexa::datastore::table_name + "(" + vexa::bench::stored_columns() + ")";
    double const copy_in = seconds([&] {
        server.psql("bench", "\\copy " + columns + " FROM '" + csv + "' WITH (FORMAT csv)");
    });
    server.psql("bench", "ANALYZE");
    std::size_t const rows = options.shape.rows();
    std::vector<std::string> const providers = vexa::bench::provider_names(options.shape.providers);
    std::string in_list;
    for (std::string const& provider : providers) {
        in_list += (in_list.empty() ? "'" : ",'") + provider + "'";
    }

    // The tool sits in bin/ beside this program's bench/; the server's
    // data sources reach it through ODBCSYSINI.
    std::string const tool =
        (std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "bin" /
         "vexa-datastore")
            .string();
    vexa::bench::ToolDatastore const filled{"bench_export", "libodbc.so", "odbc",
                                            "DSN=vexa_pg;Database=bench|read_only=true"};
    std::vector<vexa::bench::Figure> const exports = vexa::bench::tool_export_figures(
        tool, "postgresql", vexa::bench::write_group_document(server.state(), {filled}),
        vexa::bench::write_group_document(server.state(), {filled, empty}), rows,
        options.repetitions, server.state());
    if (options.export_only) {
        vexa::bench::print_table(std::cout, exports);
        return 0;
    }

    std::string const read_query = "SELECT * FROM vexa_1 WHERE Provider IN (" + in_list + ")";
    std::vector<double> library_reads;
    std::vector<double> driver_reads;
    std::vector<double> psql_reads;
    for (int r = 0; r < options.repetitions; ++r) {
        std::vector<Row> read;
        library_reads.push_back(seconds([&] {
            if (!vexa::datastore::select_provider_data(providers, read, "") ||
                read.size() != rows) {
                throw std::runtime_error("the library read " + std::to_string(read.size()) +
                                         " rows, not " + std::to_string(rows));
            }
        }));
        driver_reads.push_back(seconds([&] {
            // The cursor settings the plug-in gives psqlODBC.
            if (bare_driver_read("DSN=vexa_pg;Database=bench;UseDeclareFetch=1;Fetch=10000",
                                 read_query) != rows) {
                throw std::runtime_error("the bare driver read a wrong number of rows");
            }
        }));
        psql_reads.push_back(
            seconds([&] { server.psql("bench", "\\copy (" + read_query + ") TO '/dev/null'"); }));
    }

    std::vector<Row> read;
    long const library_peak =
        added_peak_kib([&] { vexa::datastore::select_provider_data(providers, read, ""); });
    read.clear();
    read.shrink_to_fit();
    double building = 0;
    long const own_peak = added_peak_kib([&] {
        building = seconds([&] {
            for (std::size_t i = 0; i < rows; ++i) {
                read.push_back(vexa::bench::workload_as_row(options.shape, i, "bench"));
            }
        });
    });
    read.clear();
    read.shrink_to_fit();

    auto latest = [&] {
        vexa::datastore::SQLParameters sql;
        vexa::datastore::ReadParameters parameters;
        parameters.providers = {providers[providers.size() / 2]};
        parameters.sql = &sql;
        std::vector<double> times;
        std::vector<Row> latest_rows;
        for (int r = 0; r < std::max(options.repetitions, 5); ++r) {
            times.push_back(seconds([&] {
                if (control(vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &latest_rows) != 0) {
                    throw std::runtime_error("the latest-row query failed");
                }
            }));
        }
        return median(times);
    };
    double const latest_indexed = latest();
    server.psql("bench", "DROP INDEX provider_datastore_latest");
    server.psql("bench", "ANALYZE");
    double const latest_plain = latest();
    vexa::datastore::DataStoreParseUtility::clear_db_vector();

    open_instance("bench", "bench_insert");
    vexa::datastore::InsertRequest request;
    auto insert_rows = [&](int first) {
        for (int i = first; i < first + options.insert_rows; ++i) {
            request = vexa::bench::workload_row(options.shape, static_cast<std::size_t>(i));
            if (control(vexa::datastore::OP_INSERT, nullptr, &request) != 0) {
                throw std::runtime_error("OP_INSERT failed");
            }
        }
    };
    double const inserting = seconds([&] { insert_rows(0); });
    double const batch_inserting = seconds([&] {
        if (control(vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr) != 0) {
            throw std::runtime_error("OP_BEGIN_BATCH failed");
        }
        insert_rows(options.insert_rows);
        if (control(vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr) != 0) {
            throw std::runtime_error("OP_COMMIT_BATCH failed");
        }
    });
    vexa::datastore::DataStoreParseUtility::clear_db_vector();

    std::printf("workload: %zu rows; %d repetitions, medians of elapsed time\n", rows,
                options.repetitions);
    std::printf("%-44s %12s %12s %-6s %8s  %s\n", "figure", "library", "baseline", "unit", "ratio",
                "target");
    print("read all rows vs psql \\copy TO /dev/null", median(library_reads), median(psql_reads),
          "s", "at most 1.5 x");
    print("read all rows: bare driver vs psql", median(driver_reads), median(psql_reads), "s", "");
    // What no reader of these rows can go below: the driver's fetching, and
    // building the same rows in memory (mostly the first touch of their pages).
    print("read all rows: bare driver + building vs psql", median(driver_reads) + building,
          median(psql_reads), "s", "");
    print("latest rows of one provider, index vs none", latest_indexed * 1e3, latest_plain * 1e3,
          "ms", "");
    print("OP_INSERT rows/s vs \\copy FROM rows/s", options.insert_rows / inserting,
          static_cast<double>(rows) / copy_in, "rows/s", "");
    print("OP_INSERT in one batch rows/s vs \\copy FROM", options.insert_rows / batch_inserting,
          static_cast<double>(rows) / copy_in, "rows/s", "at least 0.4 x");
    print("peak memory of the read vs the rows alone", library_peak / 1024.0, own_peak / 1024.0,
          "MiB", "at most 1.15 x");
    std::printf("\nthe tool's export, as a user runs it:\n");
    vexa::bench::print_table(std::cout, exports);
    return 0;
} catch (std::exception const& error) {
    std::cerr << "odbc-bench: " << error.what() << "\n";
    return 1;
}
