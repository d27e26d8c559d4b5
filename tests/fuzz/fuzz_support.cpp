#include "fuzz_support.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "test_support.h"

namespace vexa::fuzz {

std::string const& scratch_dir() {
    static test::TempDir const dir;
    return dir.path();
}

ExtensionPtr create_sqlite_extension() {
    using Create = datastore::DataStoreExtension* (*)();
    using Destroy = void (*)(datastore::DataStoreExtension*);
    static void* const library = dlopen(VEXA_SQLITE_PLUGIN, RTLD_LAZY);
    check(library != nullptr, "cannot load " VEXA_SQLITE_PLUGIN);
    auto const create = reinterpret_cast<Create>(dlsym(library, "create"));
    auto const destroy = reinterpret_cast<Destroy>(dlsym(library, "destroy"));
    check(create != nullptr && destroy != nullptr, "no create or destroy in " VEXA_SQLITE_PLUGIN);
    ExtensionPtr extension(create(), destroy);
    check(extension != nullptr, "create of " VEXA_SQLITE_PLUGIN " returned null");
    return extension;
}

void check(bool condition, char const* what) {
    if (!condition) {
        std::fprintf(stderr, "fuzz check failed: %s\n", what);
        std::abort();
    }
}

}  // namespace vexa::fuzz
