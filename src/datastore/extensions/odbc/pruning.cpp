#include "pruning.h"

#include <string>
#include <vector>

#include <datastore/vocabulary.h>

#include "statements.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// Parameters: 1 older_than, then the providers.
constexpr std::size_t first_provider_parameter = 2;

}  // namespace

std::uint64_t prune(SQLHDBC dbc, PruneRequest const& request) {
    std::string const sql = (request.dry_run ? "SELECT COUNT(*) FROM " : "DELETE FROM ") +
                            table_name + " WHERE " +
                            common::prune_condition(request, common::Markers::plain,
                                                    first_provider_parameter, " newer");
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
        auto const parameter = static_cast<SQLUSMALLINT>(first_provider_parameter + i);
        check(SQLBindParameter(s, parameter, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR,
                               provider.empty() ? 1 : provider.size(), 0,
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
