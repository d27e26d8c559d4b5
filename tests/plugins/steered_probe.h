// Helpers for suites that use the test plug-ins.
//
// plugin_config() describes an instance served by a test plug-in; a
// SteeredProbe reads the counters of a loaded copy of the steered plug-in
// (steered_plugin.cpp):
//
//   vexa::test::SteeredProbe probe(VEXA_PLUGIN_STEERED_COPY_A);
//   EXPECT_EQ(probe.destroyed(), 1);
//
// The probe opens the same file, which gives the handle of the library that
// the controller already loaded (or loads it, when nothing has yet), and
// releases its own reference when it goes out of scope.
#ifndef VEXA_TESTS_PLUGINS_STEERED_PROBE_H_
#define VEXA_TESTS_PLUGINS_STEERED_PROBE_H_

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include <datastore/config.h>

namespace vexa::test {

// An instance `name` of type `other` served by the plug-in file `library`
// and opened with `parameters`.
inline datastore::DataStoreConfig plugin_config(std::string const& library, std::string const& name,
                                                std::string const& parameters = "") {
    datastore::DataStoreConfig config;
    config.type = datastore::other;
    config.instance_name = name;
    std::string::size_type const slash = library.rfind('/');
    config.extension_path = library.substr(0, slash);
    config.extension_name = library.substr(slash + 1);
    config.source_parameters = parameters;
    return config;
}

class SteeredProbe {
  public:
    explicit SteeredProbe(std::string const& path) : handle_(dlopen(path.c_str(), RTLD_NOW)) {
        if (handle_ == nullptr) {
            throw std::runtime_error("cannot open the steered plug-in " + path);
        }
    }
    ~SteeredProbe() { dlclose(handle_); }
    SteeredProbe(SteeredProbe const&) = delete;
    SteeredProbe& operator=(SteeredProbe const&) = delete;

    int created() const { return call<int>("steered_created"); }
    int destroyed() const { return call<int>("steered_destroyed"); }
    int inserts() const { return call<int>("steered_inserts"); }
    std::string last_query() const { return call<char const*>("steered_last_query"); }

    // Whether the library at `path` is loaded in this process, without loading it.
    static bool is_loaded(std::string const& path) {
        void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (handle == nullptr) {
            return false;
        }
        dlclose(handle);
        return true;
    }

  private:
    template <typename Result>
    Result call(char const* name) const {
        void* symbol = dlsym(handle_, name);
        if (symbol == nullptr) {
            throw std::runtime_error(std::string("the steered plug-in lacks ") + name);
        }
        return reinterpret_cast<Result (*)()>(symbol)();
    }

    void* handle_;
};

}  // namespace vexa::test

#endif  // VEXA_TESTS_PLUGINS_STEERED_PROBE_H_
