// The load-sql command: an SQLite database built from a script.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include <datastore/datastore.h>

#include "commands.h"

namespace vexa::tool {

int run_load_sql(std::string const& script, std::string const& database) {
    // Checked first so that a mistyped script name leaves no empty database
    // behind; the library's own texts name the file or the failing line.
    if (access(script.c_str(), R_OK) != 0) {
        throw std::runtime_error("cannot read SQL script " + script + ": " + std::strerror(errno));
    }
    datastore::DataStoreParseUtility::create_from_sqlfile(script, database);
    std::cout << "loaded " << script << " into " << database << '\n';
    return 0;
}

}  // namespace vexa::tool
