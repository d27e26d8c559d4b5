// What differs between the database systems behind ODBC: how a session is
// kept from writing, where the version is read, and how the latest rows are
// read where the composed grouping is refused.
#ifndef VEXA_ODBC_PLUGIN_DIALECT_H_
#define VEXA_ODBC_PLUGIN_DIALECT_H_

#include <string>
#include <utility>
#include <vector>

namespace vexa::datastore::odbc_plugin {

enum class Dbms { postgresql, sqlite, other };

// From SQLGetInfo's SQL_DBMS_NAME.
Dbms dbms_of(std::string const& dbms_name);

// A statement that makes the session refuse every write, or "" where the
// driver refuses them (PostgreSQL) or its read-only access mode must do.
std::string read_only_statement(Dbms dbms);

// A query answering the server's own version text (its first word counts),
// or "" where SQL_DBMS_VER says it.
std::string version_query(Dbms dbms);

// Whether the database system takes the composed latest-row grouping
// ("SELECT *, MAX(...) ... GROUP BY"): SQLite does; standard SQL, and so
// PostgreSQL, rejects it. Known from the name rather than tried, since a
// refused try leaves an error in the server's log at every connection.
bool accepts_grouped_latest_rows(Dbms dbms);

// A query around its where clause, as interface::select_latest_rows takes it.
struct QueryAround {
    std::string head;
    std::string tail;
};

// Standard-SQL equivalents of the composed latest-row reads, over the view.
// The rows of each (OptionID, Hostname, Provider) group of the where clause
// that carry the group's greatest Unique_timestamp (ties kept).
QueryAround latest_rows_query();
// The rows of the where clause that carry the view's greatest
// Unique_timestamp.
QueryAround latest_collect_rows_query();
// The latest row of the provider "uname" for every host.
std::string latest_hosts_query();

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_DIALECT_H_
