#include "large_cluster.h"

#include <sqlite3.h>

#include <memory>
#include <stdexcept>

#include <datastore/datastore.h>

namespace vexa::test {

namespace {

void check(sqlite3* db, int rc, int expected) {
    if (rc != expected) {
        throw std::runtime_error(std::string("filling the large cluster: ") + sqlite3_errmsg(db));
    }
}

}  // namespace

std::map<std::string, int> fill_large_cluster(std::string const& path, int hosts, int providers,
                                              std::int64_t now) {
    sqlite3* opened = nullptr;
    int const rc = sqlite3_open(path.c_str(), &opened);
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> const db(opened, sqlite3_close);
    check(db.get(), rc, SQLITE_OK);
    check(db.get(), sqlite3_exec(db.get(), "BEGIN", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_stmt* prepared = nullptr;
    check(db.get(),
          sqlite3_prepare_v2(db.get(),
                             ("INSERT INTO " + datastore::table_name +
                              " (Provider, Hostname, num_nodes, node_names, Exit_status, "
                              "Timestamp, Duration, Encoding, STDOUT, STDERR, OptionID, "
                              "version, Username, Unique_timestamp) VALUES (?, ?, 1, ?, ?, "
                              "?, 0.5, 0, ?, '', 'default', 1, 'tester', ?)")
                                 .c_str(),
                             -1, &prepared, nullptr),
          SQLITE_OK);
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> const insert(prepared, sqlite3_finalize);
    std::map<std::string, int> cells;
    std::int64_t unique = 0;
    for (int h = 1; h <= hosts; ++h) {
        std::string const host = "node" + std::to_string(h);
        for (int p = 0; p < providers; ++p) {
            int const n = h * providers + p;
            if (n % 101 == 0) {
                ++cells["never"];
                continue;
            }
            bool const failed = n % 97 == 0;
            bool const stale = n % 89 == 0;
            ++cells[stale ? "stale" : failed ? "failed" : "passed"];
            std::string const provider = "provider_" + std::to_string(p);
            std::string const output = "load average: 0." + std::to_string(n % 100) + " on " + host;
            std::int64_t const time = now - (stale ? 7200 : 60);
            sqlite3_bind_text(insert.get(), 1, provider.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(insert.get(), 2, host.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(insert.get(), 3, host.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int(insert.get(), 4, failed ? 2 : 0);
            sqlite3_bind_int64(insert.get(), 5, time);
            sqlite3_bind_text(insert.get(), 6, output.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int64(insert.get(), 7, time * 1000000 + ++unique);
            check(db.get(), sqlite3_step(insert.get()), SQLITE_DONE);
            sqlite3_reset(insert.get());
        }
    }
    check(db.get(), sqlite3_exec(db.get(), "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    return cells;
}

}  // namespace vexa::test
