// What differs between the database systems behind ODBC: how the provider
// table, its view, the baseline table and the latest-row index are made,
// and how the latest rows are read where the composed grouping is refused.
#ifndef VEXA_ODBC_PLUGIN_DIALECT_H_
#define VEXA_ODBC_PLUGIN_DIALECT_H_

#include <string>
#include <utility>
#include <vector>

namespace vexa::datastore::odbc_plugin {

enum class Dbms { postgresql, sqlite, other };

// From SQLGetInfo's SQL_DBMS_NAME.
Dbms dbms_of(std::string const& dbms_name);

// The statements that create whatever is missing, in order. On PostgreSQL
// they run in one transaction, serialised between concurrent openers by an
// advisory lock; elsewhere the library's own texts serve as they are.
std::vector<std::string> schema_statements(Dbms dbms);

// A query counting the schema objects that schema_statements() would
// create, and the count when all exist; two empty texts where the statements
// are cheap enough to run every time. On PostgreSQL they would otherwise
// wait for every open transaction on the table, a batch among them.
std::pair<std::string, std::string> schema_presence_query(Dbms dbms);

// A statement that makes the session refuse every write, or "" where the
// driver's read-only access mode must do.
std::string read_only_statement(Dbms dbms);

// A query answering the server's own version text (its first word counts),
// or "" where SQL_DBMS_VER says it.
std::string version_query(Dbms dbms);

// A probe of the composed latest-row grouping ("SELECT *, MAX(...) ...
// GROUP BY"), which standard SQL (and PostgreSQL) rejects; it reads no row.
std::string grouped_latest_rows_probe();

// Standard-SQL equivalents of the composed latest-row reads, over the view.
// `where` is a clause built by interface::generate_where_clause.
// The rows of each (OptionID, Hostname, Provider) group of `where` that carry
// the group's greatest Unique_timestamp (ties kept).
std::string latest_rows_query(std::string const& where);
// The rows of `where` that carry the view's greatest Unique_timestamp.
std::string latest_collect_rows_query(std::string const& where);
// The latest row of the provider "uname" for every host.
std::string latest_hosts_query();

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_DIALECT_H_
