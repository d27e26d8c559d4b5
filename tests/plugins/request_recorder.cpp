// A test plug-in that records the read request of every control() call
// (opcode, ReadParameters and its SQLParameters) and answers 0 without rows,
// so tests see what the front end sends rather than what an extension makes
// of it. request_recorder.h reads the record.
#include <string>

#include <datastore/extension.h>

#include "request_recorder.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::ReadParameters;
using vexa::test::RecordedRequest;

RecordedRequest recorded;

class RequestRecorder : public vexa::datastore::interface {
  public:
    bool is_ready() override { return true; }

    int control(unsigned short opcode, void const* in, void* /*out*/, void* /*extra*/) override {
        ReadParameters const& request = *static_cast<ReadParameters const*>(in);
        int const calls = recorded.calls + 1;
        recorded = RecordedRequest{};
        recorded.calls = calls;
        recorded.opcode = opcode;
        recorded.providers = request.providers;
        recorded.hostnames = request.hostnames;
        recorded.has_sql = request.sql != nullptr;
        if (request.sql != nullptr) {
            recorded.filter = request.sql->filter;
            recorded.query = request.sql->query;
            recorded.fields = request.sql->fields;
        }
        return OPERATION_SUCCESSFULL;
    }

    int open_instance(std::string const& /*source_parameters*/) override {
        return OPERATION_SUCCESSFULL;
    }

    std::string describe() const override { return "request recorder"; }
};

}  // namespace

#define RECORDER_EXPORT extern "C" __attribute__((visibility("default")))

RECORDER_EXPORT DataStoreExtension* create() noexcept {
    try {
        return new RequestRecorder;
    } catch (...) {
        return nullptr;
    }
}

RECORDER_EXPORT void destroy(DataStoreExtension* extension) noexcept { delete extension; }

RECORDER_EXPORT RecordedRequest const* recorded_request() noexcept { return &recorded; }
