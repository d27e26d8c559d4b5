// The library's query interface: run one operation over the open datastores
// of the registry and merge their rows. None of these functions throws on a
// datastore's failure: it is logged at level 7 and the next one is asked.
// Thread safety: they may run from several threads at once, as long as no
// thread registers or clears datastores meanwhile.
#ifndef VEXA_DATASTORE_FRONT_END_H_
#define VEXA_DATASTORE_FRONT_END_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <datastore/export.h>
#include <datastore/records.h>

namespace vexa::datastore {

class DataStoreExtension;

// Told each datastore's result by execute_ioctl: (result code, opcode,
// datastore handle, output pointer, extra pointer).
using ResultCallback = void (*)(int, unsigned short, std::weak_ptr<DataStoreExtension>, void const*,
                                void const*);

// Runs `opcode` on the named datastores in turn, reporting each result to
// `callback` (may be null), until one succeeds. Returns 1 when one did, else 0.
VEXA_DATASTORE_EXPORT int execute_ioctl(std::vector<std::string> names, unsigned short opcode,
                                        void const* in, void* out, void* extra,
                                        ResultCallback callback);

// Runs a read `opcode` on every datastore holding provider data and puts
// their rows, stamped with the datastore's name, into `rows` (cleared first).
// True when `rows` is not empty.
VEXA_DATASTORE_EXPORT bool execControl(unsigned short opcode, ReadParameters const& parameters,
                                       std::vector<Row>& rows);

// The trailing flag of the query functions has no effect.

// Runs the complete query text `query` everywhere.
VEXA_DATASTORE_EXPORT bool select_data(std::string query, std::vector<Row>& rows,
                                       std::map<std::string, int> const& fields, bool flag = false);
// The rows of `providers`, under the selection text `selection` when it is
// not blank.
VEXA_DATASTORE_EXPORT bool select_provider_data(std::vector<std::string> providers,
                                                std::vector<Row>& rows, std::string selection,
                                                bool flag = false);
// The latest rows of `providers` on `host` (all hosts when empty).
VEXA_DATASTORE_EXPORT bool get_latest_rows_provider_data(std::vector<std::string> const& providers,
                                                         std::vector<Row>& rows, std::string host,
                                                         bool flag = false);
// Per provider and host, the rows with the greatest unique time stamp across
// all datastores (ties kept, merged order kept).
VEXA_DATASTORE_EXPORT bool get_latest_rows_provider_hosts_data(
    std::vector<std::string> const& providers, std::vector<Row>& rows,
    std::vector<std::string> const& hosts, bool flag = false);
// The host records (provider "uname") of every datastore.
VEXA_DATASTORE_EXPORT bool get_hosts_data(std::vector<Row>& rows,
                                          std::map<std::string, int> const& fields,
                                          bool flag = false);

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_FRONT_END_H_
