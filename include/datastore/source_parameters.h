// The source parameters of the project's SQLite and ODBC plug-ins, read as
// the plug-ins read them when they open an instance, so that a tool can
// check a configuration exactly as it will be opened, without opening it.
// Every function may run in any thread at once.
#ifndef VEXA_DATASTORE_SOURCE_PARAMETERS_H_
#define VEXA_DATASTORE_SOURCE_PARAMETERS_H_

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/export.h>

namespace vexa::datastore {

// Source parameters a plug-in refuses; what() says why. When the fault is a
// key the plug-in does not know, unknown_key() names it and known_keys()
// lists those it takes (for a suggestion); otherwise both are empty.
class VEXA_DATASTORE_EXPORT SourceParametersError : public std::runtime_error {
  public:
    explicit SourceParametersError(std::string const& what, std::string unknown_key = "",
                                   std::vector<std::string> known_keys = {});
    std::string const& unknown_key() const { return unknown_key_; }
    std::vector<std::string> const& known_keys() const { return known_keys_; }

  private:
    std::string unknown_key_;
    std::vector<std::string> known_keys_;
};

// What the SQLite plug-in's parameters ask.
struct SqliteSourceParameters {
    std::string source;  // as written, not expanded; DEFAULT_DATA_SOURCE when absent
    bool read_only = false;
    // Flush the write-ahead log at every commit (synchronous=full), so that
    // not even the last commits can be lost on a power failure.
    bool full_sync = false;
    std::chrono::milliseconds time_limit{0};  // timeout=SECONDS; zero: no limit
};

// Reads "source=PATH|read_only=true|false|synchronous=normal|full|timeout=
// SECONDS", items in any order, each optional, blanks around the pieces
// ignored. Throws SourceParametersError for a text that is not such a list,
// an unknown key (a misspelt key must not quietly open the default file),
// or a value other than those above.
VEXA_DATASTORE_EXPORT SqliteSourceParameters
read_sqlite_source_parameters(std::string const& parameters);

// What the ODBC plug-in's parameters ask.
struct OdbcSourceParameters {
    std::string target;  // a data source name, or a connection string (it holds "=")
    bool read_only = false;
    std::chrono::milliseconds time_limit{0};  // timeout=SECONDS; zero: no limit
};

// Reads "TARGET", optionally followed by "|read_only=true|false", then
// optionally by "|timeout=SECONDS"; an empty target means the default data
// source name. Throws SourceParametersError when an item after a "|" is not
// one of these, in this order, or its value is not one they take.
VEXA_DATASTORE_EXPORT OdbcSourceParameters
read_odbc_source_parameters(std::string const& parameters);

// SECONDS (digits, optionally a point and more digits: "5", "0.25") as
// milliseconds, a fraction of a millisecond counted whole so that a limit is
// never rounded down to none. Throws SourceParametersError saying what was
// expected for anything else (a sign, an exponent, a comma, a bare point).
VEXA_DATASTORE_EXPORT std::chrono::milliseconds read_timeout_seconds(std::string const& seconds);

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_SOURCE_PARAMETERS_H_
