// The load-sql command: an SQLite database built from a script, one
// statement a line.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include <datastore/datastore.h>
#include <quillo1/quillo1.h>

#include "commands/commands.h"

namespace vexa::tool {

namespace {

struct LoadSqlOptions {
    std::string script;
    std::string database;
};

LoadSqlOptions options;

}  // namespace

void add_load_sql_options(CLI::App* command) {
    command->add_option("script", options.script, "SQL script")->required()->type_name("FILE");
    command->add_option("database", options.database, "SQLite database file, created if missing")
        ->required()
        ->type_name("FILE");
}

namespace {

// Runs the script line by line as the library's test datastores do, but
// names the failing line by number with SQLite's reason.
void run_script(std::string const& script, std::string const& database) {
    quillo1::Connection* raw = nullptr;
    if (quillo1::newConnection(database, 0, &raw) != 0) {
        throw std::runtime_error("cannot open or create the database " + database);
    }
    quillo1::AutoPtr<quillo1::Connection> connection(raw);
    std::ifstream input(script);
    std::string line;
    for (std::size_t number = 1; std::getline(input, line); ++number) {
        if (connection->issueCommand(line) != 0) {
            throw std::runtime_error(script + " line " + std::to_string(number) + ": " +
                                     connection->lastError() + ": " + line);
        }
    }
}

}  // namespace

int run_load_sql(GlobalOptions const&) {
    std::string const& script = options.script;
    std::string const& database = options.database;
    // Checked first so that a mistyped script name leaves no empty database
    // behind.
    if (access(script.c_str(), R_OK) != 0) {
        throw std::runtime_error("cannot read SQL script " + script + ": " + std::strerror(errno));
    }
    bool const existed = access(database.c_str(), F_OK) == 0;
    try {
        run_script(script, database);
    } catch (std::exception const&) {
        if (!existed) {  // a half-built database is of no use
            std::remove(database.c_str());
        }
        throw;
    }
    std::cout << "loaded " << script << " into " << database << '\n';
    return 0;
}

}  // namespace vexa::tool
