// The front end's message about one datastore's answer to an operation.
// Private to the library.
#ifndef VEXA_DATASTORE_EXPERIMENTAL_SRC_OPERATION_MESSAGES_H_
#define VEXA_DATASTORE_EXPERIMENTAL_SRC_OPERATION_MESSAGES_H_

#include <string>

namespace vexa::datastore::detail {

// Logs at level 7 that datastore `name` answered `opcode` with `result`:
// "Operation code 514 unsupported for store" for 512, "... failed for store"
// for 1, "... failed for storeerror code 7" for any other code, nothing for 0.
void log_operation_result(int result, unsigned short opcode, std::string const& name);

}  // namespace vexa::datastore::detail

#endif  // VEXA_DATASTORE_EXPERIMENTAL_SRC_OPERATION_MESSAGES_H_
