// The contract between the library and its datastore plug-ins.
//
// A plug-in is a shared library exporting two plain C entry points,
//   extern "C" vexa::datastore::DataStoreExtension* create();
//   extern "C" void destroy(vexa::datastore::DataStoreExtension*);
// whose objects derive from `interface`. The library talks to an object only
// through control(), which maps numbered operations onto the typed virtual
// operations below and every outcome onto a result code.
#ifndef VEXA_DATASTORE_EXTENSION_H_
#define VEXA_DATASTORE_EXTENSION_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <datastore/export.h>
#include <datastore/records.h>
#include <provider/header.h>

namespace vexa::datastore {

// Operation codes of control().
// in: ReadParameters (its sql->fields); out: std::vector<Row>. Runs hosts_query.
inline constexpr unsigned short OP_SELECT_HOSTS = 512;
// in: ReadParameters (providers, hostnames); out: std::vector<Row>.
inline constexpr unsigned short OP_GET_LATEST_ROWS = 513;
// in: ReadParameters with sql set; out: std::vector<Row>. Runs sql->query
// when it is not empty, otherwise selects the providers under sql->filter.
inline constexpr unsigned short OP_SELECT = 514;
// in: unused; out: InsertRequest.
inline constexpr unsigned short OP_INSERT = 515;

// The version of the plug-in interface: the classes below, their slots and
// the records they take. Plug-ins built by this project export it through
// an extern "C" function of this name, taking nothing and returning it as
// an unsigned int; the library refuses a plug-in that exports another
// version, and loads one that exports none like any other plug-in.
inline constexpr unsigned PLUGIN_INTERFACE_VERSION = 1;
inline constexpr char PLUGIN_INTERFACE_VERSION_SYMBOL[] = "vexa_plugin_interface_version";

// The record OP_INSERT takes (through control's `out` pointer).
struct InsertRequest {
    std::string stdout_text;
    std::string stderr_text;
    provider::header header;
    std::string option_id;
};

// Thread safety: open_instance() finishes before any other call. The plug-ins
// of this project serialise the calls on one instance with a lock of their
// own, so control() may then be called from several threads at once; any
// other plug-in states what it allows.
class VEXA_DATASTORE_EXPORT DataStoreExtension {
  public:
    // Result codes of control() and of open_instance().
    static constexpr int OPERATION_SUCCESSFULL = 0;
    static constexpr int OPERATION_UNSUCCESSFULL = 1;
    static constexpr int UNSUPPORTED_OPERATION = 512;

    DataStoreExtension();
    virtual ~DataStoreExtension();

    // Whether the instance can serve reads; the plug-in decides what it means.
    virtual bool is_ready() = 0;
    // Runs operation `opcode` (OP_*); returns 0, 1, 512 or a plug-in's own
    // code. Never throws.
    virtual int control(unsigned short opcode, void const* in, void* out, void* extra) = 0;
    // Opens the data source described by `source_parameters`; 0 on success.
    virtual int open_instance(std::string const& source_parameters) = 0;
    // A one-line human-readable description of the open instance (backend,
    // location, mode) for tools; the library itself never calls it.
    virtual std::string describe() const = 0;

  protected:
    std::uint64_t extension_word_front = 0;  // the plug-in's own; never touched here

  public:
    // Set by the controller before open_instance() is called.
    std::string instance_name;

  protected:
    std::uint64_t extension_word_back = 0;  // the plug-in's own; never touched here
};

// Base of SQL-based plug-ins: implements control() and composes the read
// queries over the view `table_view`; a plug-in supplies select() (and
// insert() when writable) and sets hosts_query.
// Thread safety: control() takes no lock of its own; it is as safe to call
// from several threads as the plug-in's select() and insert() are.
class VEXA_DATASTORE_EXPORT interface : public DataStoreExtension {
  public:
    interface();
    ~interface() override;

    int control(unsigned short opcode, void const* in, void* out, void* extra) override;

    // Stores one provider run. The default throws "unsupported operation".
    virtual bool insert(provider::header const& header, std::string const& option_id,
                        std::string const& stdout_text, std::string const& stderr_text);
    // Appends the rows of `providers` (under `condition`, when not empty) to
    // `out`. False without a query when `providers` is empty.
    virtual bool select_provider(std::vector<std::string> providers, std::vector<Row>& out,
                                 std::string condition);
    // Runs `query`, appending one Row per result row to `out`; `fields` maps
    // column names to Row member indexes. The default throws "unsupported
    // operation".
    virtual bool select(std::string query, std::vector<Row>& out,
                        std::map<std::string, int> const& fields);
    // Replaces `out` with the latest row per provider, host and option of
    // `providers`, limited to `hosts` when not empty.
    virtual bool get_latest_rows_provider(std::vector<std::string> providers, std::vector<Row>& out,
                                          std::vector<std::string> hosts);
    // Replaces `out` with the rows of `providers` (and `hosts`) that carry the
    // greatest unique time stamp of the whole view.
    virtual bool get_latest_collect_rows(std::vector<std::string> providers, std::vector<Row>& out,
                                         std::vector<std::string> hosts);

    // Appends " (column IN ('v1','v2') )" to `where` (joined by " AND " when
    // `where` is not empty). Returns false, leaving `where` alone, when
    // `column` or `values` is empty; throws std::runtime_error "Invalid
    // parameters to where query for " + column for a value blank after
    // trimming. Values are trimmed and quoted, never escaped.
    static bool generate_where_clause(std::vector<std::string> values, std::string column,
                                      std::string& where);

  protected:
    // The steps of the two latest-row reads: false when not ready, `out`
    // cleared, false without a query when `providers` is empty, the host
    // filter left out when `hosts` is empty, then `head` + the where clause
    // + `tail` handed to select(). A plug-in whose database system words the
    // query differently keeps the steps and changes only the text.
    bool select_latest_rows(std::vector<std::string> providers, std::vector<std::string> hosts,
                            std::vector<Row>& out, std::string const& head,
                            std::string const& tail);

    // The complete query that OP_SELECT_HOSTS runs; set by the plug-in.
    std::string hosts_query;
};

}  // namespace vexa::datastore

// Whether `item` is an element of `set` (exact comparison).
VEXA_DATASTORE_EXPORT bool in(std::vector<std::string> const& set, std::string const& item);
// Whether every element of `items` is in `set`; true for empty `items`.
VEXA_DATASTORE_EXPORT bool in(std::vector<std::string> const& set,
                              std::vector<std::string> const& items);
// The elements of `from` that are not in `remove`, in order, duplicates kept.
VEXA_DATASTORE_EXPORT std::vector<std::string> prune(std::vector<std::string> const& from,
                                                     std::vector<std::string> const& remove);
// Reads "source=PATH|read_only=true" into `source` and `read_only`, which
// keep their values when their key is absent. A value in one pair of double
// quotes is unquoted. Returns false at the first item that is not key=value.
VEXA_DATASTORE_EXPORT bool parse_sqlite_params(std::string const& params, std::string& source,
                                               bool& read_only);

#endif  // VEXA_DATASTORE_EXTENSION_H_
