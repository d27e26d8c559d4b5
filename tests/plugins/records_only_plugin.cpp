// A plug-in that serves only the contract's four opcodes, as one written
// before the project's own operations would: it hands opcodes 512 to 515 to
// a real SQLite instance and answers 512 (unsupported) for every other
// opcode.
#include <dlfcn.h>

#include <string>

#include <datastore/datastore.h>

namespace {

using vexa::datastore::DataStoreExtension;

using Create = DataStoreExtension* (*)();
using Destroy = void (*)(DataStoreExtension*);

class RecordsOnlyExtension : public DataStoreExtension {
  public:
    RecordsOnlyExtension() = default;
    ~RecordsOnlyExtension() override {
        if (inner_ != nullptr) {
            destroy_(inner_);
        }
        if (handle_ != nullptr) {
            dlclose(handle_);
        }
    }
    RecordsOnlyExtension(RecordsOnlyExtension const&) = delete;
    RecordsOnlyExtension& operator=(RecordsOnlyExtension const&) = delete;

    bool is_ready() override { return inner_ != nullptr && inner_->is_ready(); }

    int control(unsigned short opcode, void const* in, void* out, void* extra) override {
        bool const contract =
            opcode >= vexa::datastore::OP_SELECT_HOSTS && opcode <= vexa::datastore::OP_INSERT;
        if (!contract || inner_ == nullptr) {
            return UNSUPPORTED_OPERATION;
        }
        return inner_->control(opcode, in, out, extra);
    }

    // `source_parameters`: "library=PATH|" with the SQLite plug-in's file,
    // then the SQLite instance's own parameters.
    int open_instance(std::string const& source_parameters) override {
        std::string::size_type const bar = source_parameters.find('|');
        if (source_parameters.rfind("library=", 0) != 0 || bar == std::string::npos ||
            !load(source_parameters.substr(8, bar - 8))) {
            vexa::log::ErrorLog(4).stream() << "records_only: " << error_;
            return OPERATION_UNSUCCESSFULL;
        }
        inner_->instance_name = instance_name;
        return inner_->open_instance(source_parameters.substr(bar + 1));
    }

    std::string describe() const override {
        return inner_ != nullptr ? inner_->describe() : "no SQLite plug-in";
    }

  private:
    bool load(std::string const& library) {
        handle_ = dlopen(library.c_str(), RTLD_LAZY);
        if (handle_ == nullptr) {
            char const* reason = dlerror();
            error_ = reason != nullptr ? reason : library + ": cannot load";
            return false;
        }
        auto create = reinterpret_cast<Create>(dlsym(handle_, "create"));
        destroy_ = reinterpret_cast<Destroy>(dlsym(handle_, "destroy"));
        inner_ = create != nullptr && destroy_ != nullptr ? create() : nullptr;
        return inner_ != nullptr;
    }

    void* handle_ = nullptr;
    Destroy destroy_ = nullptr;
    DataStoreExtension* inner_ = nullptr;
    std::string error_ = "source parameters must start with library=PATH|";
};

}  // namespace

extern "C" __attribute__((visibility("default"))) DataStoreExtension* create() noexcept {
    try {
        return new RecordsOnlyExtension;
    } catch (...) {
        return nullptr;
    }
}

extern "C" __attribute__((visibility("default"))) void destroy(
    DataStoreExtension* extension) noexcept {
    delete extension;
}
