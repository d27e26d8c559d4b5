// The project's own operations: queries with any result columns, batched
// writes and retention, beyond the four opcodes every plug-in serves.
//
// They are numbered outside 512-515. `interface::control` answers 512
// (UNSUPPORTED_OPERATION) for them; a plug-in that serves them overrides
// control(), handles these opcodes and hands every other opcode unchanged to
// interface::control. A caller that gets 512 falls back to the four opcodes.
// Like the four, every operation answers 0 on success and 1 on failure, and
// never lets an exception out of control(). The caller owns the records
// behind `in` and `out`; a plug-in reads and fills them during the call only.
#ifndef VEXA_DATASTORE_OPERATIONS_H_
#define VEXA_DATASTORE_OPERATIONS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <datastore/export.h>
#include <datastore/records.h>

namespace vexa::datastore {

struct DatastoreFailure;

// in: std::string const*, an SQL text; out: Table*, replaced by the result.
// Only reading statements run: one that would write (or attach, or change a
// setting) is refused with 1 and changes nothing, refused by the database
// system itself where it can say so. A text holding a second statement may
// be refused whole. An SQL error answers 1 and logs the DBMS's text at
// level 4.
inline constexpr unsigned short OP_QUERY_TABLE = 768;
// in, out: unused. Opens a batch: the rows that OP_INSERT stores until
// OP_COMMIT_BATCH are committed together, and reads meanwhile see them.
// Answers 1 on a read-only instance, or when a batch is already open (that
// batch stays open).
// A batch still open when the instance closes is committed. When anything
// inside a batch fails (an OP_INSERT, the commit), the whole batch is rolled
// back and the rollback logged at level 4 with the instance name; the later
// OP_INSERTs of that batch then answer 1 without writing, and its
// OP_COMMIT_BATCH answers 1 and ends it.
inline constexpr unsigned short OP_BEGIN_BATCH = 769;
// in, out: unused. Commits the open batch; 0 also when no batch is open.
inline constexpr unsigned short OP_COMMIT_BATCH = 770;
// in: PruneRequest const*; out: std::uint64_t*, set to the number of rows
// removed (or, with dry_run, that would be). Answers 1 on a read-only
// instance unless dry_run is set. Every value is bound, never pasted into
// the SQL text. Inside an open batch the removal is part of the batch.
inline constexpr unsigned short OP_PRUNE = 771;
// in: unused; out: std::string*, replaced by the reason of the last call of
// this instance that failed in the calling thread (the back end's own words,
// for example SQLite's or the driver's text), "" when none has. Lets a caller
// say why a datastore failed without reading the log.
inline constexpr unsigned short OP_LAST_FAILURE = 772;
// in: std::chrono::milliseconds const*, the longest any later call of this
// instance may run (0: no limit, the default unless the source parameters
// set one); out: unused. A call that runs out of time fails, its reason
// saying it timed out, and the instance stays usable.
inline constexpr unsigned short OP_SET_TIME_LIMIT = 773;
// in: StreamRequest const*; out: StreamResult*, replaced. Runs a read and
// hands its rows to the request's callback in blocks as the database system
// yields them, so a result of any size takes the memory of one block. The
// text is checked as OP_QUERY_TABLE checks it (and refused with 1 alike).
// A callback that returns false stops the read; the call still answers 0.
// The callback runs on the calling thread while the instance is busy with
// the read: it must not call the same instance. A failure after some blocks
// answers 1; the blocks already handed over stay the caller's.
inline constexpr unsigned short OP_STREAM_QUERY = 774;
// in: std::vector<RunPairBound> const*; out: std::vector<RunPairHistory>*,
// replaced by one entry per pair asked, in the same order (failing_since.h).
// Each pair costs index lookups, whatever the history kept. Answers 1 on a
// database failure, with nothing in `out`.
inline constexpr unsigned short OP_FAILING_SINCE = 775;

// The result of OP_QUERY_TABLE: the result columns by name, in order, and
// one row per result row with one cell per column. A NULL is nullopt; any
// other value is its text as the DBMS gives it, integers (64-bit as well)
// exactly as decimal digits.
struct Table {
    std::vector<std::string> columns;
    std::vector<std::vector<std::optional<std::string>>> rows;
};

// What OP_STREAM_QUERY runs. Exactly one of the two callbacks is set (else
// the call answers 1): `on_table` takes the result columns as they are, by
// name and as text, like OP_QUERY_TABLE; `on_rows` takes the columns whose
// names are keys of column_index_map into Row members, like OP_SELECT.
// Every block but the last holds `block_rows` rows; a result without rows
// still yields one block (for on_table, with its columns). A block is valid
// during its call only.
struct StreamRequest {
    std::string query;
    std::size_t block_rows = 1000;
    std::function<bool(Table const& block)> on_table;
    std::function<bool(std::vector<Row> const& block)> on_rows;
};

// What OP_STREAM_QUERY did: how many rows it handed over, and on failure
// why (the back end's own words; "" on success).
struct StreamResult {
    std::uint64_t rows = 0;
    std::string failure;
};

// What OP_PRUNE removes: the rows whose Unique_timestamp is less than
// `older_than`, of `providers` only when it is not empty. With
// `keep_latest`, the rows holding the greatest Unique_timestamp of their
// Provider, Hostname and OptionID stay whatever their age (ties all stay).
// With `dry_run` nothing is removed; the rows are only counted.
struct PruneRequest {
    std::int64_t older_than = 0;
    std::vector<std::string> providers;
    bool keep_latest = false;
    bool dry_run = false;
};

// Front end, in the manner of execControl: every datastore of the registry
// that holds provider data is asked in registry order; one that answers 512
// or fails (or throws) is logged at level 7 and skipped, and has its name
// appended to `unsupported` (when given, cleared first) if it answered 512.
// `failures` (when given, cleared first) gets one entry per datastore that
// failed otherwise, with its reason, as the functions of failures.h fill it.

// Runs OP_QUERY_TABLE with `query` everywhere and merges the answers into
// `out` (replaced): its first column, "datastore", holds the instance name,
// the others are those of the first datastore that answered. A later answer
// with other column names is logged at level 7 and skipped. True when at
// least one datastore answered (`out.columns` is then not empty, even when
// no row came back); false without asking anyone for an empty query.
VEXA_DATASTORE_EXPORT bool select_table(std::string const& query, Table& out,
                                        std::vector<std::string>* unsupported = nullptr,
                                        std::vector<DatastoreFailure>* failures = nullptr);

// Runs OP_PRUNE with `request` everywhere. `removed` (replaced) gets one
// entry per datastore that answered: its instance name and its count, in
// registry order. True when at least one datastore answered.
VEXA_DATASTORE_EXPORT bool prune_rows(PruneRequest const& request,
                                      std::vector<std::pair<std::string, std::uint64_t>>& removed,
                                      std::vector<std::string>* unsupported = nullptr,
                                      std::vector<DatastoreFailure>* failures = nullptr);

// Runs OP_STREAM_QUERY with `query` on every datastore holding provider data,
// in registry order, and hands each block to `on_block` as it arrives, its
// first column "datastore" holding the instance name (as in select_table).
// A datastore that answers 512 is asked OP_QUERY_TABLE instead and its whole
// table handed over in blocks; one that answers 512 to that as well goes to
// `unsupported`. A datastore whose columns differ from those of the first
// that answered is logged at level 7 and its rows left out. One that fails
// goes to `failures` (when given; cleared first) with its reason, the blocks
// it handed over before staying handed over, and the next one is asked.
// When `on_block` returns false nothing more is read. `block_rows` is the
// size of a block. True when at least one datastore answered; false without
// asking anyone for an empty query. Never throws but what `on_block` throws.
VEXA_DATASTORE_EXPORT bool stream_table(std::string const& query, std::size_t block_rows,
                                        std::function<bool(Table const&)> const& on_block,
                                        std::vector<DatastoreFailure>* failures = nullptr,
                                        std::vector<std::string>* unsupported = nullptr);

// As stream_table, but the result is read into records as OP_SELECT reads
// them (column_index_map), each stamped with its datastore's name in
// `datastore_source`; a datastore that answers 512 is asked OP_SELECT with
// `query` instead.
VEXA_DATASTORE_EXPORT bool stream_rows(std::string const& query, std::size_t block_rows,
                                       std::function<bool(std::vector<Row> const&)> const& on_block,
                                       std::vector<DatastoreFailure>* failures = nullptr,
                                       std::vector<std::string>* unsupported = nullptr);

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_OPERATIONS_H_
