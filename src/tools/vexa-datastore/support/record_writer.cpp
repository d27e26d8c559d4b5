#include "support/record_writer.h"

#include <memory>
#include <stdexcept>

#include "support/log_capture.h"
#include "support/names.h"

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

bool run_on(std::string const& name, unsigned short opcode) {
    return datastore::execute_ioctl({name}, opcode, nullptr, nullptr, nullptr, nullptr) == 1;
}

// `line` without the "Datastore "NAME": " a plug-in puts before its reason,
// the message naming the datastore already.
std::string without_instance(std::string const& name, std::string const& line) {
    std::string const prefix = "Datastore \"" + name + "\": ";
    return line.compare(0, prefix.size(), prefix) == 0 ? line.substr(prefix.size()) : line;
}

}  // namespace

RecordWriter::RecordWriter(std::string const& target, std::size_t batch_size)
    : batch_size_(batch_size) {
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
    begin_batches();
}

RecordWriter::~RecordWriter() {
    for (auto const& name : batched_) {
        run_on(name, datastore::OP_COMMIT_BATCH);
    }
}

void RecordWriter::begin_batches() {
    batched_.clear();
    if (batch_size_ <= 1) {
        return;
    }
    for (auto const& name : targets_) {
        if (run_on(name, datastore::OP_BEGIN_BATCH)) {
            batched_.insert(name);
        }
    }
}

void RecordWriter::commit_batches() {
    for (auto const& name : batched_) {
        LogCapture log;  // a plug-in logs why its commit failed
        if (!run_on(name, datastore::OP_COMMIT_BATCH)) {
            std::string const reason = without_instance(name, log.last_line());
            // Composed before the clear, which destroys `name`.
            std::runtime_error const failure(
                "datastore \"" + name + "\" could not commit its last " +
                std::to_string(pending_[name]) + " records" +
                (reason.empty() ? "" : " (" + reason + ")") + "; they are not stored");
            batched_.clear();
            throw failure;
        }
    }
    for (auto const& [name, count] : pending_) {
        counts_[name] += count;
        stored_ += count;
    }
    pending_.clear();
}

bool RecordWriter::write(datastore::InsertRequest& record) {
    std::weak_ptr<DataStoreExtension> acceptor;
    {
        LogCapture log;  // a plug-in logs why it refused a record
        if (datastore::execute_ioctl(targets_, datastore::OP_INSERT, nullptr, &record, &acceptor,
                                     remember_acceptor) == 0) {
            last_error_ = log.last_line();
            return false;
        }
    }
    auto extension = acceptor.lock();
    std::string const name = extension ? extension->instance_name : "";
    if (extension && descriptions_.count(name) == 0) {
        descriptions_[name] = extension->describe();
    }
    if (batched_.count(name) == 0) {
        ++counts_[name];
        ++stored_;
    } else if (++pending_[name] >= batch_size_) {
        commit_batches();
        begin_batches();
    }
    return true;
}

void RecordWriter::finish() {
    commit_batches();
    batched_.clear();
}

std::string RecordWriter::described_targets() const {
    std::string text;
    for (auto const& name : targets_) {
        std::string description;
        for (auto const& [config, handle] : DataStoreParseUtility::locate_datastores({name})) {
            if (auto extension = handle.lock()) {
                description = " (" + extension->describe() + ")";
            }
        }
        text += (text.empty() ? "\"" : ", \"") + name + "\"" + description;
    }
    return text;
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
