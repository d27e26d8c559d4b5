#include "tool_fixture.h"

#include <sys/stat.h>

#include <chrono>

#include <datastore/datastore.h>

namespace vexa::test {

std::string const kPluginDirectory = std::string(VEXA_BUILD_ROOT) + "/datastore/quarn64";

Outcome run_tool(std::vector<std::string> const& args, std::string const& input,
                 std::map<std::string, std::string> env, int stderr_fd, int stdout_fd,
                 std::optional<uid_t> user) {
    // The developer's own configuration never reaches the tool.
    env.emplace("VEXA_DATASTORE_CONFIG", "");
    ProgramRun run{{kTool}, std::move(env), input, {}, false, user, false};
    run.arguments.insert(run.arguments.end(), args.begin(), args.end());
    if (stdout_fd >= 0) {
        run.descriptors[1] = stdout_fd;
    }
    if (stderr_fd >= 0) {
        run.descriptors[2] = stderr_fd;
    }
    return run_program(run);
}

void ToolInScratchHome::SetUp() {
    if (kTool == nullptr) {
        GTEST_SKIP() << "the tool is not built (VEXA_BUILD_TOOL=OFF)";
    }
    ASSERT_EQ(0, mkdir(home_.c_str(), 0700));
}

Outcome ToolInScratchHome::run(std::vector<std::string> const& args, std::string const& input,
                               std::map<std::string, std::string> env, int stderr_fd, int stdout_fd,
                               std::optional<uid_t> user) {
    env.emplace("HOME", home_);
    env.emplace("TZ", "UTC");
    env.emplace("COLUMNS", "200");
    env.emplace("USER", "tester");
    return run_tool(args, input, env, stderr_fd, stdout_fd, user);
}

std::string ToolInScratchHome::output_of(std::vector<std::string> const& args,
                                         std::string const& input) {
    Outcome outcome = run(args, input);
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("", outcome.err);
    return outcome.out;
}

json ToolInScratchHome::json_of(std::vector<std::string> args) {
    args.insert(args.begin(), {"--format", "json"});
    return json::parse(output_of(args));
}

void ToolInScratchHome::make_database(std::string const& name, std::string const& insert) {
    std::string const script = file(name + ".sql");
    write_file(script, vexa::datastore::default_create_table_query + "\n" +
                           vexa::datastore::default_create_view_query + "\n" + insert + "\n");
    EXPECT_EQ("loaded " + script + " into " + file(name) + "\n",
              output_of({"load-sql", script, file(name)}));
}

std::string ToolInScratchHome::write_config(
    std::string const& name, std::vector<std::pair<std::string, std::string>> const& instances) {
    std::string document = "<datastores>\n  <group path=\"" + kPluginDirectory + "\">\n";
    for (auto const& [instance, parameters] : instances) {
        write_file(file(instance + ".xml"),
                   "<configuration instance_name=\"" + instance +
                       "\" type=\"sqlite3\" source_types=\"data\" source_parameters=\"" +
                       parameters + "\"/>\n");
        document += "    <entry config_path=\"" + dir_.path() + "\" config_file=\"" + instance +
                    ".xml\">libsqlite.so</entry>\n";
    }
    document += "  </group>\n</datastores>\n";
    write_file(file(name), document);
    return file(name);
}

std::string const kKnownRecords =
    R"({"Provider": "cpu_load", "Hostname": "node001", "node_names": ["node001"], "Exit_status": 0, "Timestamp": 1700000000, "Duration": 0.5, "STDOUT": "load average: 0.50", "OptionID": "default", "version": 1, "Username": "ann", "Unique_timestamp": 1700000000000001})"
    "\n"
    R"({"Provider": "cpu_load", "Hostname": "node002", "node_names": ["node002"], "Exit_status": 0, "Timestamp": 1700000060, "Duration": 0.25, "STDOUT": "load average: 1.00", "OptionID": "default", "version": 1, "Username": "ann", "Unique_timestamp": 1700000060000000})"
    "\n"
    R"({"Provider": "cpu_load", "Hostname": "node001", "node_names": ["node001"], "Exit_status": 1, "Timestamp": 1700000600, "Duration": 0.75, "STDOUT": "load average: 99.00", "STDERR": "load too high", "OptionID": "default", "version": 1, "Username": "ann", "Unique_timestamp": 1700000600000000})"
    "\n"
    R"({"Provider": "uname", "Hostname": "node001", "num_nodes": 1, "node_names": ["node001"], "Timestamp": 1700000000, "STDOUT": "Linux node001 6.1.0 x86_64", "Encoding": "none", "Unique_timestamp": 1700000000000000})"
    "\n";

namespace {

json known_row(int rowid, std::string const& host, int exit_status, std::int64_t timestamp,
               double duration, std::string const& out, std::string const& err,
               std::int64_t unique) {
    return {{"rowid", rowid},
            {"Provider", "cpu_load"},
            {"Hostname", host},
            {"num_nodes", 1},
            {"node_names", {host}},
            {"Exit_status", exit_status},
            {"Timestamp", timestamp},
            {"Duration", duration},
            {"Encoding", "none"},
            {"STDOUT", out},
            {"STDERR", err},
            {"OptionID", "default"},
            {"version", 1},
            {"Username", "ann"},
            {"Unique_timestamp", unique},
            {"datastore_source", "vexa_default"}};
}

}  // namespace

json const kFirstNode001 =
    known_row(1, "node001", 0, 1700000000, 0.5, "load average: 0.50", "", 1700000000000001);
json const kNode002 =
    known_row(2, "node002", 0, 1700000060, 0.25, "load average: 1.00", "", 1700000060000000);
json const kLatestNode001 = known_row(3, "node001", 1, 1700000600, 0.75, "load average: 99.00",
                                      "load too high", 1700000600000000);

void ToolWithKnownRows::SetUp() {
    ToolInScratchHome::SetUp();
    if (!IsSkipped()) {
        EXPECT_EQ("stored 4 records in vexa_default (" + default_description() + ")\n",
                  output_of({"insert", "-"}, kKnownRecords));
    }
}

std::string records_relative_to(std::int64_t now) {
    auto record = [](std::string const& provider, std::string const& host, std::int64_t when,
                     int exit_status) {
        return json({{"Provider", provider},
                     {"Hostname", host},
                     {"Timestamp", when},
                     {"Exit_status", exit_status}})
                   .dump() +
               "\n";
    };
    return record("cpu_load", "node001", now - 60, 0) + record("memory", "node001", now - 60, 0) +
           record("cpu_load", "node002", now - 1200, 1) + record("memory", "node002", now - 30, 0) +
           record("cpu_load", "node003", now - 3600, 0) +
           record("memory", "node003", now - 3700, 2);
}

std::int64_t now_seconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace vexa::test
