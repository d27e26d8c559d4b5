#include "dialect.h"

#include <datastore/vocabulary.h>

namespace vexa::datastore::odbc_plugin {

Dbms dbms_of(std::string const& dbms_name) {
    if (dbms_name == "PostgreSQL") {
        return Dbms::postgresql;
    }
    return dbms_name == "SQLite" ? Dbms::sqlite : Dbms::other;
}

std::string read_only_statement(Dbms dbms) {
    switch (dbms) {
        case Dbms::postgresql:
            // Every read runs in a read-only transaction of its own (see
            // ReadOnlyRead) and the plug-in itself refuses writes: a session
            // setting would stay on a pooler's server connection and reach
            // whichever client gets it next.
            return "";
        case Dbms::sqlite:
            return "PRAGMA query_only = ON";
        case Dbms::other:
            break;
    }
    return "";
}

std::string version_query(Dbms dbms) {
    // psqlODBC reports 15.18 as "15.0.18".
    return dbms == Dbms::postgresql ? "SHOW server_version" : "";
}

bool accepts_grouped_latest_rows(Dbms dbms) { return dbms == Dbms::sqlite; }

QueryAround latest_rows_query() {
    return {"SELECT v.* FROM " + table_view +
                " v JOIN (SELECT OptionID, Hostname, Provider, MAX(Unique_timestamp) AS latest "
                "FROM " +
                table_view + " WHERE",
            " GROUP BY OptionID, Hostname, Provider) m ON v.OptionID = m.OptionID AND v.Hostname "
            "= m.Hostname AND v.Provider = m.Provider AND v.Unique_timestamp = m.latest ORDER BY "
            "v.OptionID, v.Hostname, v.Provider, v.rowid"};
}

QueryAround latest_collect_rows_query() {
    return {"SELECT * FROM " + table_view + " WHERE",
            " AND Unique_timestamp = (SELECT MAX(Unique_timestamp) FROM " + table_view +
                ") ORDER BY OptionID, Hostname, Provider, rowid"};
}

std::string latest_hosts_query() {
    return "SELECT v.* FROM " + table_view +
           " v JOIN (SELECT Hostname, MAX(Unique_timestamp) AS "
           "latest FROM " +
           table_view +
           " WHERE Provider = 'uname' GROUP BY Hostname) m ON v.Hostname = m.Hostname AND "
           "v.Unique_timestamp = m.latest WHERE v.Provider = 'uname' ORDER BY v.Hostname, v.rowid";
}

}  // namespace vexa::datastore::odbc_plugin
