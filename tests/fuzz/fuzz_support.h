// Helpers of the fuzz targets: the input as text, a scratch directory for the
// life of the process, this build's SQLite plug-in loaded with dlopen, and a
// check that stops the run when an expectation fails.
#ifndef VEXA_TESTS_FUZZ_FUZZ_SUPPORT_H_
#define VEXA_TESTS_FUZZ_FUZZ_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <datastore/extension.h>

namespace vexa::fuzz {

inline std::string text_of(std::uint8_t const* data, std::size_t size) {
    return std::string(reinterpret_cast<char const*>(data), size);
}

// A directory created at first use and removed when the process ends
// normally.
std::string const& scratch_dir();

// An extension object of this build's libsqlite.so, destroyed through the
// library's own "destroy". The library stays loaded, as the controller
// keeps it. Aborts when the plug-in cannot be loaded.
using ExtensionPtr =
    std::unique_ptr<datastore::DataStoreExtension, void (*)(datastore::DataStoreExtension*)>;
ExtensionPtr create_sqlite_extension();

// Aborts with `what` on standard error when `condition` is false, so that
// libFuzzer keeps the input that broke an expectation.
void check(bool condition, char const* what);

}  // namespace vexa::fuzz

#endif  // VEXA_TESTS_FUZZ_FUZZ_SUPPORT_H_
