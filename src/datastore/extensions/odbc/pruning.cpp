#include "pruning.h"

#include <string>
#include <vector>

#include <datastore/vocabulary.h>

namespace vexa::datastore::odbc_plugin {

namespace {

// The WHERE condition of the rows `request` describes: the stamp first, then
// one marker per provider.
std::string condition_of(PruneRequest const& request) {
    std::string condition = " WHERE Unique_timestamp < ?";
    if (!request.providers.empty()) {
        condition += " AND Provider IN (";
        for (std::size_t i = 0; i < request.providers.size(); ++i) {
            condition += i == 0 ? "?" : ", ?";
        }
        condition += ")";
    }
    if (request.keep_latest) {
        // A row goes only when a newer one of its provider, host and option
        // exists; the latest-row index answers this without a scan.
        condition += " AND EXISTS (SELECT 1 FROM " + table_name + " newer" +
                     " WHERE newer.Provider = " + table_name + ".Provider" +
                     " AND newer.Hostname = " + table_name + ".Hostname" +
                     " AND newer.OptionID = " + table_name + ".OptionID" +
                     " AND newer.Unique_timestamp > " + table_name + ".Unique_timestamp)";
    }
    return condition;
}

}  // namespace

std::uint64_t prune(SQLHDBC dbc, PruneRequest const& request) {
    std::string const sql = (request.dry_run ? "SELECT COUNT(*) FROM " : "DELETE FROM ") +
                            table_name + condition_of(request);
    Statement const statement = new_statement(dbc);
    SQLHSTMT const s = statement.get();
    std::int64_t older_than = request.older_than;
    check(SQLBindParameter(s, 1, SQL_PARAM_INPUT, SQL_C_SBIGINT, SQL_BIGINT, 0, 0, &older_than, 0,
                           nullptr),
          SQL_HANDLE_STMT, s, "SQLBindParameter");
    std::vector<SQLLEN> lengths(request.providers.size());
    for (std::size_t i = 0; i < request.providers.size(); ++i) {
        std::string const& provider = request.providers[i];
        lengths[i] = static_cast<SQLLEN>(provider.size());
        check(SQLBindParameter(s, static_cast<SQLUSMALLINT>(i + 2), SQL_PARAM_INPUT, SQL_C_CHAR,
                               SQL_VARCHAR, provider.empty() ? 1 : provider.size(), 0,
                               const_cast<char*>(provider.data()), 0, &lengths[i]),
              SQL_HANDLE_STMT, s, "SQLBindParameter");
    }
    check(SQLExecDirect(s, reinterpret_cast<SQLCHAR*>(const_cast<char*>(sql.c_str())),
                        static_cast<SQLINTEGER>(sql.size())),
          SQL_HANDLE_STMT, s, "SQLExecDirect");
    if (request.dry_run) {
        check(SQLFetch(s), SQL_HANDLE_STMT, s, "SQLFetch");
        SQLBIGINT count = 0;
        check(SQLGetData(s, 1, SQL_C_SBIGINT, &count, sizeof count, nullptr), SQL_HANDLE_STMT, s,
              "SQLGetData");
        return static_cast<std::uint64_t>(count);
    }
    SQLLEN removed = 0;
    check(SQLRowCount(s, &removed), SQL_HANDLE_STMT, s, "SQLRowCount");
    return removed < 0 ? 0 : static_cast<std::uint64_t>(removed);
}

}  // namespace vexa::datastore::odbc_plugin
