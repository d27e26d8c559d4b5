#include "commands/commands.h"

#include <string>

#include <datastore/datastore.h>

namespace vexa::tool {

namespace {

// A command: what --help says of it, and its options and work in its file.
struct Command {
    char const* name;
    char const* description;  // one line, also in the list of commands
    char const* example;
    char const* details;      // lines ending in "\n" after the options, or ""
    AddOptions* add_options;  // nullptr: the command has none of its own
    Run* run;
};

// Every command, in the order --help lists them.
Command const kCommands[] = {
    {"demo", "store a simulated cluster's provider results, then print the summary",
     "vexa-datastore demo --hosts 32 --runs 5", "", add_demo_options, run_demo},
    {"summary", "per provider, from the latest result of each host: hosts, passed, failed, newest",
     "vexa-datastore summary --failed -p disk_usage,memory", "", add_summary_options, run_summary},
    {"latest", "the latest result per provider and host (every provider when none is named)",
     "vexa-datastore latest -p cpu_load,memory -H node003", "", add_latest_options, run_latest},
    {"host", "everything known about hosts: the latest result of every provider, one line each",
     "vexa-datastore host node003", "", add_host_options, run_host},
    {"select", "every stored result of the providers (all when none is named)",
     "vexa-datastore select -p disk_usage -H node003 --since 1d --limit 20",
     "--since and --until take a duration ago (15m, 12h, 30d) or a date\n"
     "(2026-11-22, 2026-11-22 04:21:59, local time unless --utc).\n",
     add_select_options, run_select},
    {"hosts", "the latest host record (uname) of every host", "vexa-datastore hosts --format csv",
     "", nullptr, run_hosts},
    {"providers", "the provider names stored, with their record counts and newest time",
     "vexa-datastore providers", "", nullptr, run_providers},
    {"stale",
     "provider and host pairs whose latest result is older than a cutoff, and hosts that "
     "stopped reporting",
     "vexa-datastore stale --older-than 15m",
     "A host whose every result is older than the cutoff is listed once, as stopped\n"
     "reporting (Provider *); the other pairs older than the cutoff as stale.\n",
     add_stale_options, run_stale},
    {"sql", "run an SQL query over the view vexa_1 of every datastore",
     "vexa-datastore sql \"SELECT Provider, count(*) FROM vexa_1 GROUP BY Provider\"",
     "Only the first statement runs, and only when it reads. The first column names\n"
     "the datastore that answered the row.\n",
     add_sql_options, run_sql},
    {"insert", "store provider results given as JSON Lines",
     "echo '{\"Provider\": \"cpu_load\", \"Hostname\": \"node001\", \"Exit_status\": 0, "
     "\"STDOUT\": \"load average: 0.52\"}' | vexa-datastore insert -",
     "Each line is one JSON object, its keys named like the columns: Provider and Hostname\n"
     "(required), num_nodes, node_names (an array), Exit_status, Timestamp (seconds),\n"
     "Duration, Encoding (none, base64 or raw), STDOUT, STDERR, OptionID, version,\n"
     "Username, Unique_timestamp (microseconds). Without Timestamp both times are now;\n"
     "without Unique_timestamp it is Timestamp in microseconds, moved on by a microsecond\n"
     "where another record of the run has it. Names must not hold a single quote.\n"
     "--format jsonl output of select, latest and hosts reads back unchanged. A bad line\n"
     "is reported with its number and skipped, and the exit status is then 1.\n",
     add_insert_options, run_insert},
    {"prune", "remove results older than a cutoff, printing how many each datastore removed",
     "vexa-datastore prune --older-than 30d --keep-latest",
     "The age is that of a result's unique time stamp. --keep-latest keeps the latest result\n"
     "of every provider, host and option however old, so no host drops out of summaries.\n",
     add_prune_options, run_prune},
    {"datastores", "the configured datastores and whether they opened",
     "vexa-datastore --config etc/datastore/datastores.xml datastores", "", nullptr,
     run_datastores},
    {"load-sql", "build an SQLite database from a script, one statement a line",
     "vexa-datastore load-sql schema.sql /tmp/test.db",
     "A failing line stops the load; a database the load created is then removed.\n",
     add_load_sql_options, run_load_sql},
    {"report", "write the cluster's status page: hosts by providers, as one HTML file",
     "vexa-datastore report --html /var/www/html/cluster.html",
     "The page needs no network: open it from disk in any browser. Failing hosts\n"
     "come first; hover or focus a cell for its time and output.\n",
     add_report_options, run_report},
    {"metrics", "the latest result of every provider and host in the Prometheus text format",
     "vexa-datastore metrics --output /var/lib/node_exporter/textfile/vexa.prom",
     "Gauges vexa_provider_exit_status, vexa_provider_last_run_timestamp_seconds and\n"
     "vexa_provider_duration_seconds, labelled provider, host and datastore, and\n"
     "vexa_datastore_up per datastore.\n",
     add_metrics_options, run_metrics},
    {"check", "a monitoring plug-in: status line, performance data, failing hosts",
     "vexa-datastore check --stale 30m --warn 0 --crit 5",
     "Exit status: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN (no results, a datastore\n"
     "that does not open or fails to answer, or no answer within --timeout, which\n"
     "ends the check however the datastore hangs). CRITICAL when more hosts failed\n"
     "than --crit, WARNING when more failed than --warn or any host is stale: its\n"
     "latest result of a provider is older than --stale, or missing while it reports\n"
     "others.\n",
     add_check_options, run_check},
    {"config", "check the datastore configuration without opening a datastore",
     "vexa-datastore config check --config /etc/vexa/datastores.xml",
     "config check reads the group document and every instance file as loading would,\n"
     "completes their vacant fields, and looks at every plug-in file (present, readable,\n"
     "a shared object of this machine exporting create and destroy) and at the source\n"
     "keys, without opening a datastore or creating a file. One line per instance:\n"
     "  NAME: TYPE, plug-in PATH (WHAT IT IS), SOURCE PARAMETERS: ok\n"
     "or one line per fault:\n"
     "  FILE:LINE: NAME: REASON\n"
     "Exit status 1 when there is a fault; a group document that cannot be read at all\n"
     "is reported on standard error.\n",
     add_config_options, run_config},
};

// Shown by every command's --help: these may follow the command.
std::string global_options() {
    return "Global options (before or after the command):\n"
           "  --config FILE            datastore group document (default: "
           "$VEXA_DATASTORE_CONFIG,\n"
           "                           else the SQLite file " +
           datastore::DEFAULT_DATA_SOURCE +
           ")\n"
           "  --format table|json|jsonl|csv\n"
           "                           output as an aligned table, one JSON array, JSON Lines or "
           "CSV\n"
           "  --wide                   never cut tables to the terminal's width\n"
           "  --utc                    times in tables in UTC instead of local time\n"
           "  --sort time              rows of several datastores ordered by time, oldest first\n"
           "  -v, --verbose            also print the library's diagnostics\n"
           "  --timeout SECONDS        a datastore call that takes longer fails (default: no "
           "limit)\n";
}

}  // namespace

void add_commands(CLI::App& app, Run*& chosen) {
    for (Command const& command : kCommands) {
        auto* subcommand = app.add_subcommand(command.name, command.description);
        std::string const details = command.details;
        subcommand->footer((details.empty() ? "" : details + "\n") + global_options() +
                           "Example:\n  " + command.example);
        subcommand->callback([&chosen, run = command.run] { chosen = run; });
        if (command.add_options != nullptr) {
            command.add_options(subcommand);
        }
    }
}

}  // namespace vexa::tool
