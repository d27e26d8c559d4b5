#include "record_writer.h"

#include <memory>
#include <stdexcept>

#include "quoted_list.h"

namespace vexa::tool {

using datastore::DataStoreExtension;
using datastore::DataStoreParseUtility;

namespace {

// execute_ioctl reports every datastore's answer here; `extra` is the
// writer's slot for the handle of the one that stored the record (no opcode
// reads `extra`, so it is free to carry it).
void remember_acceptor(int code, unsigned short, std::weak_ptr<DataStoreExtension> handle,
                       void const*, void const* extra) {
    if (code == DataStoreExtension::OPERATION_SUCCESSFULL) {
        *static_cast<std::weak_ptr<DataStoreExtension>*>(const_cast<void*>(extra)) = handle;
    }
}

}  // namespace

RecordWriter::RecordWriter(std::string const& target) {
    for (auto const& [config, handle] : DataStoreParseUtility::get_datastore_vector()) {
        targets_.push_back(config.instance_name);
    }
    if (!target.empty()) {
        if (DataStoreParseUtility::locate_datastores({target}).empty()) {
            throw std::runtime_error("unknown datastore \"" + target +
                                     "\" (open: " + quoted_list(targets_) + ")");
        }
        targets_ = {target};
    }
}

bool RecordWriter::write(datastore::InsertRequest& record) {
    std::weak_ptr<DataStoreExtension> acceptor;
    if (datastore::execute_ioctl(targets_, datastore::OP_INSERT, nullptr, &record, &acceptor,
                                 remember_acceptor) == 0) {
        return false;
    }
    ++stored_;
    if (auto extension = acceptor.lock()) {
        if (counts_[extension->instance_name]++ == 0) {
            descriptions_[extension->instance_name] = extension->describe();
        }
    }
    return true;
}

std::string RecordWriter::report() const {
    if (counts_.empty()) {
        return "stored no records";
    }
    std::string text;
    for (auto const& [name, count] : counts_) {
        text += (text.empty() ? "stored " : "; ") + std::to_string(count) +
                (count == 1 ? " record in " : " records in ") + name + " (" +
                descriptions_.at(name) + ")";
    }
    return text;
}

}  // namespace vexa::tool
