#include "import_bench.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <datastore/datastore.h>
#include <nlohmann/json.hpp>

#include "datastores.h"
#include "paired.h"
#include "plain_sqlite.h"
#include "record_lines.h"
#include "workload.h"

extern char** environ;

namespace vexa::bench {

namespace {

// Runs `args` with $HOME set to `home` (when not empty) and its output
// discarded; true when it exits with 0.
bool run_program(std::vector<std::string> args, std::string const& home) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (home.empty() || std::strncmp(*entry, "HOME=", 5) != 0) {
            environment.emplace_back(*entry);
        }
    }
    if (!home.empty()) {
        environment.push_back("HOME=" + home);
    }
    auto const pointers = [](std::vector<std::string>& texts) {
        std::vector<char*> result;
        for (std::string& text : texts) {
            result.push_back(text.data());
        }
        result.push_back(nullptr);
        return result;
    };
    std::vector<char*> argv = pointers(args);
    std::vector<char*> envp = pointers(environment);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    int const spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    return spawned == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

// The shortest text that reads back as the same double, on both sides.
std::string shortest_real(double value) { return nlohmann::json(value).dump(); }

// The workload as `insert` reads it and, row for row, as `.import` reads it
// into the provider table (every column, rowid first).
void write_inputs(WorkloadShape const& shape, std::string const& json_lines,
                  std::string const& csv) {
    std::ofstream json_out(json_lines);
    std::ofstream csv_out(csv);
    for (std::size_t i = 0; i < shape.rows(); ++i) {
        Row const row = workload_as_row(shape, i, "");
        json_out << json_record(row).dump() << "\n";
        csv_out << csv_line(row, 0, shortest_real);
    }
    require(json_out.good() && csv_out.good(), "cannot write the import inputs");
}

// A digest of the whole provider table of `file`, equal for equal contents.
std::string table_digest(std::string const& file) {
    PlainDatabase db(file, true);
    return db.text_of(
        "SELECT count(*) || ' ' || sum(Unique_timestamp) || ' ' || sum(Timestamp) || ' ' || "
        "total(Duration) || ' ' || sum(num_nodes + Exit_status + Encoding + version) || ' ' || "
        "sum(length(Provider || Hostname || node_names || STDOUT || STDERR || OptionID || "
        "Username)) || ' ' || sum(unicode(STDOUT) + unicode(node_names)) FROM " +
        datastore::table_name);
}

// A fresh database file with the plug-in's schema.
void lay_out(std::string const& file) {
    remove_database(file);
    register_sqlite("bench_import", file, false);
    datastore::DataStoreParseUtility::clear_db_vector();
}

}  // namespace

std::vector<Figure> json_lines_import(Comparisons const& comparisons, std::string const& tool) {
    std::string const json_lines = comparisons.dir + "/records.jsonl";
    std::string const csv = comparisons.dir + "/records.csv";
    write_inputs(comparisons.shape, json_lines, csv);
    std::string const home = comparisons.dir + "/home";
    std::string const tool_file = home + "/.vexa/2021.4.0/vexa.db";
    std::string const plain_file = comparisons.dir + "/import-plain.db";
    std::string tool_digest;
    std::string plain_digest;

    auto const library = [&] {
        lay_out(tool_file);
        double const seconds = seconds_of([&] {
            require(run_program({tool, "insert", json_lines}, home), tool + " insert failed");
        });
        tool_digest = table_digest(tool_file);
        return seconds;
    };
    auto const baseline = [&] {
        lay_out(plain_file);
        double const seconds = seconds_of([&] {
            require(run_program({"sqlite3", "-batch", plain_file,
                                 ".import --csv " + csv + " " + datastore::table_name},
                                ""),
                    "sqlite3 .import failed");
        });
        plain_digest = table_digest(plain_file);
        return seconds;
    };
    PairedSamples const samples = measure_paired(comparisons.repetitions, library, baseline);
    require(tool_digest == plain_digest,
            "insert stored other rows than .import: " + tool_digest + " vs " + plain_digest);
    remove_database(tool_file);
    remove_database(plain_file);
    std::remove(json_lines.c_str());
    std::remove(csv.c_str());
    double const rows = static_cast<double>(comparisons.shape.rows());
    return {paired_figure(
        "vexa-datastore insert (JSON Lines) vs sqlite3 .import (CSV) (" +
            std::to_string(comparisons.shape.rows()) + " rows)",
        "rows/s", samples, [rows](double seconds) { return rows / seconds; },
        Figure::Ratio::library_over_baseline, Figure::Goal::at_least, 0.5)};
}

}  // namespace vexa::bench
