// What the request recorder test plug-in (request_recorder.cpp) last received
// through control(), read from a test through its C entry point:
//
//   vexa::test::RecordedRequest const& seen = vexa::test::recorded_request();
//   EXPECT_EQ(seen.filter, "x");
//
// Only the library's front end sends read requests, so this shows exactly
// what the front end packed, before any extension interprets it.
#ifndef VEXA_TESTS_PLUGINS_REQUEST_RECORDER_H_
#define VEXA_TESTS_PLUGINS_REQUEST_RECORDER_H_

#include <dlfcn.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace vexa::test {

struct RecordedRequest {
    int calls = 0;  // control() calls of every instance of the library
    unsigned short opcode = 0;
    std::vector<std::string> providers;
    std::vector<std::string> hostnames;
    bool has_sql = false;  // the request's `sql` was not null; then:
    std::string filter;
    std::string query;
    std::map<std::string, int> fields;
};

#ifdef VEXA_PLUGIN_REQUEST_RECORDER
// The record of the recorder library that the controller loaded.
inline RecordedRequest const& recorded_request() {
    void* library = dlopen(VEXA_PLUGIN_REQUEST_RECORDER, RTLD_NOW);
    if (library == nullptr) {
        throw std::runtime_error("cannot open " VEXA_PLUGIN_REQUEST_RECORDER);
    }
    void* symbol = dlsym(library, "recorded_request");
    RecordedRequest const& request = *reinterpret_cast<RecordedRequest const* (*)()>(symbol)();
    // The controller keeps the library loaded, so the record outlives this handle.
    dlclose(library);
    return request;
}
#endif

}  // namespace vexa::test

#endif  // VEXA_TESTS_PLUGINS_REQUEST_RECORDER_H_
