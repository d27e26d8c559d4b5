// A look at a plug-in file before the dynamic loader maps it: the loader
// trusts the ELF headers, and touching a segment that lies beyond the end of
// a cut-short file kills the process with SIGBUS.
#ifndef VEXA_DATASTORE_PLUGIN_FILE_CHECK_H_
#define VEXA_DATASTORE_PLUGIN_FILE_CHECK_H_

#include <string>

namespace vexa::datastore {

// Why the ELF object at `path` cannot be mapped safely: its program header
// table or one of its loadable segments does not fit in the file. Empty
// otherwise, also for what is no ELF object at all or cannot be read: the
// dynamic loader refuses those safely and gives its own reason.
std::string plugin_file_fault(std::string const& path);

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_PLUGIN_FILE_CHECK_H_
