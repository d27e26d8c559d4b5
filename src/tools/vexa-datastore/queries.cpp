// The commands that print rows: latest, select, hosts and sql, each one
// query function of the library's front end.
#include "commands.h"
#include "failed_datastores.h"
#include "open_datastores.h"
#include "quoted_list.h"
#include "rows.h"

namespace vexa::tool {

using datastore::ReadParameters;
using datastore::Row;
using datastore::SQLParameters;

int run_latest(GlobalOptions const& global, LatestOptions const& options) {
    open_datastores_or_fail(global.config_file);
    std::vector<Row> rows;
    if (!datastore::get_latest_rows_provider_hosts_data(options.providers, rows, options.hosts)) {
        ReadParameters parameters{options.providers, options.hosts, nullptr};
        throw_if_a_datastore_failed(datastore::OP_GET_LATEST_ROWS, parameters,
                                    "the latest rows of " + quoted_list(options.providers));
    }
    print(rows_table(rows, global.format), global.format);
    return 0;
}

int run_select(GlobalOptions const& global, SelectOptions const& options) {
    open_datastores_or_fail(global.config_file);
    std::vector<Row> rows;
    if (!datastore::select_provider_data(options.providers, rows, options.condition)) {
        SQLParameters sql;
        sql.filter = vexa::str::stripws(options.condition);
        ReadParameters parameters{options.providers, {}, &sql};
        throw_if_a_datastore_failed(
            datastore::OP_SELECT, parameters,
            "the selection of " + quoted_list(options.providers) +
                (sql.filter.empty() ? "" : " where \"" + sql.filter + "\""));
    }
    print(rows_table(rows, global.format), global.format);
    return 0;
}

int run_hosts(GlobalOptions const& global) {
    open_datastores_or_fail(global.config_file);
    std::vector<Row> rows;
    if (!datastore::get_hosts_data(rows, datastore::column_index_map)) {
        SQLParameters sql;
        ReadParameters parameters{{"uname"}, {}, &sql};
        throw_if_a_datastore_failed(datastore::OP_SELECT_HOSTS, parameters, "the hosts query");
    }
    print(rows_table(rows, global.format), global.format);
    return 0;
}

int run_sql(GlobalOptions const& global, std::string const& query) {
    if (vexa::str::stripws(query).empty()) {
        throw UsageError("the query is empty");
    }
    open_datastores_or_fail(global.config_file);
    std::vector<Row> rows;
    if (!datastore::select_data(query, rows, datastore::column_index_map)) {
        SQLParameters sql;
        sql.query = query;
        ReadParameters parameters{{}, {}, &sql};
        throw_if_a_datastore_failed(datastore::OP_SELECT, parameters,
                                    "the query \"" + query + "\"");
    }
    print(rows_table(rows, global.format), global.format);
    return 0;
}

}  // namespace vexa::tool
