// vexa-datastore: shows and fills the datastores of the vexa cluster health
// checker from the command line. This file wires the command line to the
// commands and turns failures into one line and an exit status.
#include <algorithm>
#include <functional>
#include <iostream>

#include <datastore/datastore.h>
#include <CLI/CLI.hpp>

#include "commands.h"
#include "demo_cluster.h"

namespace {

using namespace vexa::tool;

constexpr int kUsageStatus = 2;

void report(std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::cerr << "vexa-datastore: " << message << '\n';
}

CLI::Validator const non_blank(
    [](std::string& name) {
        return vexa::str::stripws(name).empty() ? std::string("a name must not be blank")
                                                : std::string();
    },
    "");

Format format_named(std::string const& name) {
    return name == "json" ? Format::json : name == "csv" ? Format::csv : Format::table;
}

CLI::App* command(CLI::App& app, std::string const& name, std::string const& description,
                  std::string const& example, std::string const& details = "") {
    auto* sub = app.add_subcommand(name, description);
    sub->footer((details.empty() ? "" : details + "\n") + "Example:\n  " + example);
    return sub;
}

// A repeatable option taking names, also separated by commas.
void add_names(CLI::App* command, std::string const& flags, std::vector<std::string>& names,
               std::string const& description) {
    command->add_option(flags, names, description)
        ->delimiter(',')
        ->check(non_blank)
        ->type_name("NAME");
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Shows and fills the datastores of the vexa cluster health checker.",
                 "vexa-datastore"};
    app.footer(
        "Without --config the datastore is the SQLite file $HOME/.vexa/2021.4.0/vexa.db.\n"
        "Global options may also follow the command. Every command has --help.\n"
        "Exit status: 0 done, 1 failed (or insert skipped lines), 2 usage error.\n"
        "Example:\n  vexa-datastore demo && vexa-datastore latest -p disk_usage");
    app.fallthrough();  // global options may follow the command
    app.set_version_flag("--version", "vexa-datastore " VEXA_VERSION);

    GlobalOptions global;
    std::string format_name = "table";
    app.add_option("--config", global.config_file,
                   "datastore group document, as in etc/datastore/datastores.xml")
        ->type_name("FILE");
    app.add_option("--format", format_name, "output as an aligned table, JSON or CSV")
        ->check(CLI::IsMember({"table", "json", "csv"}))
        ->capture_default_str();
    app.add_flag("-v,--verbose", global.verbosity, "also print the library's diagnostics");

    std::function<int()> run;

    DemoOptions demo;
    demo.providers = static_cast<int>(demo_provider_names().size());
    auto* demo_command = command(app, "demo",
                                 "store a simulated cluster's provider results, then print the "
                                 "summary",
                                 "vexa-datastore demo --hosts 32 --runs 5");
    demo_command->add_option("--hosts", demo.hosts, "number of hosts, node001 ...")
        ->check(CLI::Range(1, 999))
        ->capture_default_str();
    demo_command->add_option("--providers", demo.providers, "number of providers, uname first")
        ->check(CLI::Range(1, demo.providers))
        ->capture_default_str();
    demo_command->add_option("--runs", demo.runs, "rounds, ten minutes apart")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    demo_command->callback([&] { run = [&] { return run_demo(global, demo); }; });

    SummaryOptions summary;
    auto* summary_command =
        command(app, "summary",
                "per provider, from the latest result of each host: hosts, passed, failed, newest",
                "vexa-datastore summary --failed -p disk_usage,memory");
    add_names(summary_command, "-p,--provider", summary.providers, "only these providers");
    add_names(summary_command, "-H,--host", summary.hosts, "only these hosts");
    summary_command->add_flag("--failed", summary.list_failed, "list the failed hosts");
    summary_command->callback([&] { run = [&] { return run_summary(global, summary); }; });

    LatestOptions latest;
    auto* latest_command = command(app, "latest", "the latest result per provider and host",
                                   "vexa-datastore latest -p cpu_load,memory -H node003");
    add_names(latest_command, "-p,--provider", latest.providers, "providers");
    latest_command->get_option("--provider")->required();
    add_names(latest_command, "-H,--host", latest.hosts, "only these hosts");
    latest_command->callback([&] { run = [&] { return run_latest(global, latest); }; });

    SelectOptions select;
    auto* select_command = command(app, "select", "every stored result of the providers",
                                   "vexa-datastore select -p disk_usage -w \"Exit_status != 0\"");
    add_names(select_command, "-p,--provider", select.providers, "providers");
    select_command->get_option("--provider")->required();
    select_command
        ->add_option("-w,--where", select.condition,
                     "an SQL condition on the columns, e.g. \"Hostname = 'node001'\"")
        ->type_name("CONDITION");
    select_command->callback([&] { run = [&] { return run_select(global, select); }; });

    auto* hosts_command = command(app, "hosts", "the latest host record (uname) of every host",
                                  "vexa-datastore hosts --format csv");
    hosts_command->callback([&] { run = [&] { return run_hosts(global); }; });

    std::string query;
    auto* sql_command =
        command(app, "sql", "run an SQL query over the view vexa_1 of every datastore",
                "vexa-datastore sql \"SELECT * FROM vexa_1 WHERE Exit_status != 0\"");
    sql_command->add_option("query", query, "the query")->required()->type_name("QUERY");
    sql_command->callback([&] { run = [&] { return run_sql(global, query); }; });

    InsertOptions insert;
    auto* insert_command = command(
        app, "insert", "store provider results given as JSON Lines",
        "echo '{\"Provider\": \"cpu_load\", \"Hostname\": \"node001\", \"Exit_status\": 0, "
        "\"STDOUT\": \"load average: 0.52\"}' | vexa-datastore insert -",
        "Each line is one JSON object, its keys named like the columns: Provider and Hostname\n"
        "(required), num_nodes, node_names (an array), Exit_status, Timestamp (seconds),\n"
        "Duration, Encoding (none, base64 or raw), STDOUT, STDERR, OptionID, version,\n"
        "Username, Unique_timestamp (microseconds; both times default to now). A bad line\n"
        "is reported with its number and skipped, and the exit status is then 1.\n");
    insert_command->add_option("file", insert.file, "JSON Lines file, - for standard input")
        ->type_name("FILE")
        ->capture_default_str();
    insert_command
        ->add_option("--datastore", insert.datastore,
                     "the datastore to write (default: the first that accepts)")
        ->type_name("NAME");
    insert_command->callback([&] { run = [&] { return run_insert(global, insert); }; });

    auto* datastores_command =
        command(app, "datastores", "the configured datastores and whether they opened",
                "vexa-datastore --config etc/datastore/datastores.xml datastores");
    datastores_command->callback([&] { run = [&] { return run_datastores(global); }; });

    std::string script;
    std::string database;
    auto* load_command =
        command(app, "load-sql", "build an SQLite database from a script, one statement a line",
                "vexa-datastore load-sql schema.sql /tmp/test.db");
    load_command->add_option("script", script, "SQL script")->required()->type_name("FILE");
    load_command->add_option("database", database, "SQLite database file, created if missing")
        ->required()
        ->type_name("FILE");
    load_command->callback([&] { run = [&] { return run_load_sql(script, database); }; });

    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& e) {  // --help, --version
        return app.exit(e);
    } catch (CLI::ParseError const& e) {
        report(std::string(e.what()) + " (see --help)");
        return kUsageStatus;
    }
    if (!run) {
        report("a command is required (see --help)");
        return kUsageStatus;
    }
    global.format = format_named(format_name);
    vexa::log::LOG_LEVEL = global.verbosity > 0 ? 7 : 3;

    int status = 1;
    try {
        status = run();
    } catch (UsageError const& e) {
        report(e.what());
        status = kUsageStatus;
    } catch (std::exception const& e) {
        report(e.what());
    }
    // Closes the datastores (an SQLite file is checkpointed) before the
    // library's static data goes.
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    return status;
}
