// Several datastores and their configuration: merged rows, the datastores
// command, faulty configuration files, and a plug-in without the project's
// own operations.
#include <string>
#include <vector>

#include "tool_fixture.h"

namespace vexa::test {
namespace {

TEST_F(ToolWithKnownRows, RowsOfSeveralDatastoresAreMergedAndNamed) {
    make_database("extra.db",
                  "INSERT INTO provider_datastore (Provider, Hostname, Exit_status, Timestamp, "
                  "Unique_timestamp) VALUES ('cpu_load', 'node003', 4, 1700000300, "
                  "1700000300000000);");
    std::string config = write_config(
        "both.xml", {{"vexa_default", "source=" + default_database() + "|read_only=true"},
                     {"extra", "source=" + file("extra.db") + "|read_only=true"}});
    json rows = json_of({"--config", config, "latest", "-p", "cpu_load"});
    ASSERT_EQ(3u, rows.size());
    EXPECT_EQ(kLatestNode001, rows[0]);
    EXPECT_EQ(kNode002, rows[1]);
    EXPECT_EQ("node003", rows[2]["Hostname"]);
    EXPECT_EQ("extra", rows[2]["datastore_source"]);

    json summary = json_of({"--config", config, "summary", "--failed"});
    EXPECT_EQ(json({{"Provider", "cpu_load"},
                    {"hosts", 3},
                    {"passed", 1},
                    {"failed", 2},
                    {"newest", 1700000600},
                    {"failed_hosts", {"node001", "node003"}},
                    {"failing_since", {1700000600, 1700000300}}}),
              summary[0]);

    // A table names the datastore in a column of its own; merged rows are
    // ordered by time when asked.
    EXPECT_EQ(
        "Provider  Hostname  Exit_status  Timestamp                STDOUT               STDERR"
        "         datastore\n"
        "--------  --------  -----------  -----------------------  -------------------  "
        "-------------  ------------\n"
        "cpu_load  node002             0  2023-11-14 22:14:20 UTC  load average: 1.00"
        "                  vexa_default\n"
        "cpu_load  node003             4  2023-11-14 22:18:20 UTC"
        "                                      extra\n"
        "cpu_load  node001             1  2023-11-14 22:23:20 UTC  load average: 99.00  "
        "load too high  vexa_default\n",
        output_of({"--config", config, "--sort", "time", "latest", "-p", "cpu_load"}));
}

TEST_F(ToolInScratchHome, DatastoresListsTheCompletedConfiguration) {
    output_of({"insert"}, "");
    std::string const shipped = std::string(VEXA_BUILD_ROOT) + "/etc/datastore/datastores.xml";
    json listing = json_of({"--config", shipped, "datastores"});
    EXPECT_EQ(json({{{"instance_name", "vexa_default"},
                     {"type", "sqlite3"},
                     {"source_types", "data"},
                     {"library", kPluginDirectory + "/libsqlite.so"},
                     {"opened", true},
                     {"description", "sqlite3 " + default_database() + " (read-only)"}}}),
              listing);
    EXPECT_EQ(listing, json_of({"datastores"})) << "the embedded default is the shipped one";
}

TEST_F(ToolInScratchHome, DatastoresShowsAnInstanceThatDidNotOpen) {
    std::string const group = file("no_plugin.xml");
    write_config("unused.xml", {{"lost", "source=" + file("lost.db")}});
    write_file(group,
               "<datastores><group path=\"" + dir_.path() + "\"><entry config_path=\"" +
                   dir_.path() +
                   "\" config_file=\"lost.xml\">libsqlite.so</entry></group></datastores>\n");
    Outcome outcome = run({"--format", "csv", "--config", group, "datastores"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(
        "instance_name,type,source_types,library,opened,description\r\n"
        "lost,sqlite3,data," +
            dir_.path() + "/libsqlite.so,false,opendir failed on " + dir_.path() +
            "/libsqlite.so: 2: No such file or directory\r\n",
        outcome.out);
    EXPECT_EQ("vexa-datastore: 1 of 1 configured datastores did not open\n", outcome.err);

    outcome = run({"--config", group, "hosts"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: cannot open datastore \"lost\" at " + file("lost.db") +
                  ": opendir failed on " + dir_.path() +
                  "/libsqlite.so: 2: No such file or directory\n",
              outcome.err);
    EXPECT_EQ("", outcome.out);
}

TEST_F(ToolInScratchHome, ConfigurationFaultsNameTheFile) {
    std::string const broken = file("broken.xml");
    write_file(broken, "<datastores>\n<group>");
    std::string const empty = file("empty.xml");
    write_file(empty, "<datastores/>\n");
    std::string const lonely = file("lonely.xml");
    write_file(lonely,
               "<datastores><group path=\"" + kPluginDirectory + "\"><entry config_path=\"" +
                   dir_.path() +
                   "\" config_file=\"absent.xml\">libsqlite.so</entry></group></datastores>\n");
    std::string const bad_type = write_config("bad_type.xml", {{"typo", "source=x.db"}});
    write_file(file("typo.xml"),
               "<configuration instance_name=\"typo\" type=\"sqlite\" "
               "source_parameters=\"source=x.db\"/>\n");
    struct Case {
        std::string config;
        std::string message;
    };
    std::vector<Case> const cases{
        {file("absent_group.xml"), "cannot read configuration file " + file("absent_group.xml") +
                                       ": No such file or directory"},
        {broken, "configuration file " + broken + " is not valid XML: " + broken +
                     ":2: Premature end of data in tag group line 2"},
        {empty, "configuration file " + empty +
                    " names no datastore: it needs group elements holding entry elements, as in "
                    "etc/datastore/datastores.xml"},
        {lonely, "configuration file " + lonely +
                     ": Error opening datastore configuration (failed to load external entity \"" +
                     file("absent.xml") + "\")"},
        {bad_type, "configuration file " + bad_type + ": Invalid value for attribute type sqlite"},
    };
    for (auto const& c : cases) {
        Outcome outcome = run({"--config", c.config, "summary"});
        EXPECT_EQ(1, outcome.status) << c.config;
        EXPECT_EQ("vexa-datastore: " + c.message + "\n", outcome.err);
        EXPECT_EQ("", outcome.out);
    }
    EXPECT_FALSE(exists(default_database())) << "a faulty configuration never falls back";

    // The library reports a faulty entry in its own log line and skips it.
    std::string const no_path = file("no_path.xml");
    write_file(no_path,
               "<datastores><group path=\"" + kPluginDirectory +
                   "\"><entry config_path=\"\">libsqlite.so</entry></group></datastores>\n");
    Outcome outcome = run({"--config", no_path, "hosts"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("Invalid path attribute\nvexa-datastore: configuration file " + no_path +
                  " names no datastore: it needs group elements holding entry elements, as in "
                  "etc/datastore/datastores.xml\n",
              outcome.err);
}

TEST_F(ToolInScratchHome, APrettyPrintedEntryIsRecognised) {
    std::string const group = file("pretty.xml");
    write_file(group, "<datastores>\n  <group path=\"" + kPluginDirectory +
                          "\">\n    <entry config_file=\"default_sqlite.xml\">\n      "
                          "libsqlite.so\n    </entry>\n  </group>\n</datastores>\n");
    Outcome outcome = run({"--config", group, "summary"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("vexa-datastore: configuration file " + group +
                  ": the entry \"libsqlite.so\" is written over several lines: write the entry's "
                  "file name on one line\n",
              outcome.err);
}

TEST_F(ToolInScratchHome, TheConfigurationVariableStandsInForConfig) {
    make_database("env.db", "");
    std::string config = write_config("env.xml", {{"from_env", "source=" + file("env.db")}});
    Outcome outcome =
        run({"--format", "csv", "datastores"}, "", {{"VEXA_DATASTORE_CONFIG", config}});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ(0u, outcome.out.find("instance_name,type,source_types,library,opened,description\r\n"
                                   "from_env,sqlite3,data,"))
        << outcome.out;
}

#ifdef VEXA_PLUGIN_RECORDS_ONLY_PLUGIN
// The same SQLite file as the instance "cluster", once through the SQLite
// plug-in and once through a plug-in that serves only the four contract
// opcodes: the tool's output is the same.
TEST_F(ToolWithKnownRows, APlugInWithoutTheNewOperationsGivesTheSameOutput) {
    std::string const plugin = VEXA_PLUGIN_RECORDS_ONLY_PLUGIN;
    std::string const plugin_directory = plugin.substr(0, plugin.rfind('/'));
    std::string const plugin_file = plugin.substr(plugin.rfind('/') + 1);
    auto config_for = [&](std::string const& name, std::string const& type,
                          std::string const& directory, std::string const& library,
                          std::string const& database, std::string const& prefix = "") {
        write_file(file(name + "_instance.xml"),
                   "<configuration instance_name=\"cluster\" type=\"" + type +
                       "\" source_types=\"data\" source_parameters=\"" + prefix +
                       "source=" + database + "\"/>\n");
        write_file(file(name), "<datastores><group path=\"" + directory +
                                   "\"><entry config_path=\"" + dir_.path() + "\" config_file=\"" +
                                   name + "_instance.xml\">" + library +
                                   "</entry></group></datastores>\n");
        return file(name);
    };
    std::string const served =
        config_for("served.xml", "sqlite3", kPluginDirectory, "libsqlite.so", default_database());
    std::string const records_only =
        config_for("records_only.xml", "other", plugin_directory, plugin_file, default_database(),
                   "library=" + kPluginDirectory + "/libsqlite.so|");

    for (std::string format : {"table", "csv", "json", "jsonl"}) {
        std::vector<std::string> args{"--format", format, "sql",
                                      "SELECT * FROM vexa_1 ORDER BY rowid"};
        args.insert(args.begin(), {"--config", served});
        std::string const expected = output_of(args);
        args[1] = records_only;
        EXPECT_EQ(expected, output_of(args)) << format;
    }
    EXPECT_EQ(4u, json_of({"--config", records_only, "sql", "SELECT * FROM vexa_1"}).size());

    // Batches fall back to one record at a time, with the same report.
    std::string const record = R"({"Provider": "p", "Hostname": "h", "Timestamp": 1})"
                               "\n";
    std::string const report = "stored 1 record in cluster (" + default_description() + ")\n";
    EXPECT_EQ(report, output_of({"--config", served, "insert"}, record));
    // Another run: the same one sent again would be stored once.
    std::string const next_record = R"({"Provider": "p", "Hostname": "h", "Timestamp": 2})"
                                    "\n";
    EXPECT_EQ(report, output_of({"--config", records_only, "insert", "--batch", "2"}, next_record));
    EXPECT_EQ(6u, json_of({"select"}).size());

    // Pruning has no fallback: the datastore is named.
    Outcome outcome = run({"--config", records_only, "prune", "--older-than", "1d"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("(no rows)\n", outcome.out);
    EXPECT_EQ(
        "vexa-datastore: warning: datastore \"cluster\" cannot remove results (its plug-in does "
        "not serve it)\n",
        outcome.err);
}
#endif

}  // namespace
}  // namespace vexa::test
