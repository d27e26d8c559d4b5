// Storing provider runs: the runs waiting to be stored, and the prepared
// INSERTs of one connection that store them many rows to a statement.
#ifndef VEXA_ODBC_PLUGIN_INSERT_H_
#define VEXA_ODBC_PLUGIN_INSERT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <datastore/extension.h>
#include <provider/header.h>

#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// The rows one statement stores at most: 14 parameters a row make 3,584, far
// below what the drivers take (psqlODBC loses its way past about 7,000), and
// larger statements store no faster.
inline constexpr std::size_t rows_per_statement = 256;

// Runs waiting to be stored, with their own copies of the values. Not
// thread-safe: the extension holds its lock around every call.
class PendingRuns {
  public:
    // Keeps a copy of the run. Throws std::runtime_error, keeping nothing,
    // for a node name holding a comma, which would come back as two.
    void add(provider::header const& header, std::string const& option_id,
             std::string const& stdout_text, std::string const& stderr_text);
    std::size_t size() const { return runs_.size(); }
    bool empty() const { return runs_.empty(); }
    void clear() { runs_.clear(); }

  private:
    friend class Inserter;

    struct Run {
        InsertRequest request;
        std::string node_names;  // their stored form
        std::int32_t encoding;
    };
    std::vector<Run> runs_;
};

// The INSERTs of one connection, prepared once: one row, and
// rows_per_statement rows. Not thread-safe; lives no longer than the
// connection.
class Inserter {
  public:
    // Prepares both statements on `dbc`. Throws OdbcError.
    explicit Inserter(SQLHDBC dbc);

    // Stores every run of `runs`, rows_per_statement to a statement (a last,
    // shorter group in a statement prepared for it), and empties `runs`, also
    // when it throws OdbcError: the runs are then not all stored, and the
    // caller rolls back what was.
    void store(PendingRuns& runs);

  private:
    SQLHDBC dbc_;
    Statement one_row_;
    Statement full_;
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_INSERT_H_
