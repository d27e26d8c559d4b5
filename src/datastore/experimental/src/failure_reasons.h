// The failure entries of the project's read functions (datastore/failures.h).
#ifndef VEXA_DATASTORE_EXPERIMENTAL_SRC_FAILURE_REASONS_H_
#define VEXA_DATASTORE_EXPERIMENTAL_SRC_FAILURE_REASONS_H_

#include <memory>
#include <string>
#include <vector>

#include <datastore/controller.h>
#include <datastore/extension.h>
#include <datastore/failures.h>

namespace vexa::datastore::detail {

// The reason `extension` gives with OP_LAST_FAILURE for its latest failed
// call in this thread; "" when it gives none (or does not serve the
// operation). Never throws, logs nothing.
std::string last_failure_of(DataStoreExtension& extension) noexcept;

// Appends to `failures`, when not null, the entry of the datastore `name`
// that answered `result` (not 0): for 1, the reason `extension` gives (it is
// asked at once, so it is this thread's failure); for another code, what
// the code means. Never throws.
void add_failure(std::vector<DatastoreFailure>* failures, std::string const& name,
                 std::weak_ptr<DataStoreExtension> const& extension, int result) noexcept;

// Appends to `failures`, when not null, the entry of the datastore `name`
// that let an exception out of control().
void add_thrown(std::vector<DatastoreFailure>* failures, std::string const& name) noexcept;

// Runs `opcode` with `in` and `out` on the datastore `name` through
// `controller`, logs its result as the front end logs every answer, and
// files a datastore that did not answer 0: in `unsupported` (when not null)
// for 512, else in `failures` with its reason. Whether it answered 0.
bool control_and_file(DataStoreController& controller, std::string const& name,
                      std::weak_ptr<DataStoreExtension> const& handle, unsigned short opcode,
                      void const* in, void* out, std::vector<DatastoreFailure>* failures,
                      std::vector<std::string>* unsupported);

// Remembers how the latest attempt to open `name` ended, for open_failure():
// nothing to remember when `failure` is nullopt (it opened).
void remember_open_result(std::string const& name, std::optional<DatastoreFailure> failure);

}  // namespace vexa::datastore::detail

#endif  // VEXA_DATASTORE_EXPERIMENTAL_SRC_FAILURE_REASONS_H_
