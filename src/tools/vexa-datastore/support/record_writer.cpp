#include "support/record_writer.h"

#include <memory>
#include <stdexcept>

#include "support/datastore_failures.h"
#include "support/names.h"

namespace vexa::tool {

using datastore::DataStoreExtension;
using datastore::DataStoreParseUtility;

namespace {

// What the datastores answered to one execute_ioctl: the one that did the
// work, and why each before it did not, in its plug-in's words ("" when
// they only repeat its description, which the messages show already).
struct Answers {
    std::weak_ptr<DataStoreExtension> acceptor;
    std::vector<datastore::DatastoreFailure> refusals;
};

std::string refusal_reason(int code, std::weak_ptr<DataStoreExtension> const& handle) {
    if (code == DataStoreExtension::UNSUPPORTED_OPERATION) {
        return "its plug-in does not serve it";
    }
    std::string reason = last_failure_reason(handle);
    auto const extension = handle.lock();
    return extension && reason == "refused by " + extension->describe() ? "" : reason;
}

// execute_ioctl reports every datastore's answer here; `extra` is the
// writer's Answers (no opcode the writer runs reads `extra`, so it is free
// to carry them). A refusal's reason is asked at once, in this thread.
void remember_answer(int code, unsigned short, std::weak_ptr<DataStoreExtension> handle,
                     void const*, void const* extra) {
    auto& answers = *static_cast<Answers*>(const_cast<void*>(extra));
    if (code == DataStoreExtension::OPERATION_SUCCESSFULL) {
        answers.acceptor = handle;
        return;
    }
    auto const extension = handle.lock();
    answers.refusals.push_back(
        {extension ? extension->instance_name : "", code, refusal_reason(code, handle)});
}

// Runs `opcode` on the datastore `name`; false, with its reason in `answers`,
// when it failed.
bool run_on(std::string const& name, unsigned short opcode, Answers& answers) {
    return datastore::execute_ioctl({name}, opcode, nullptr, nullptr, &answers, remember_answer) ==
           1;
}

bool run_on(std::string const& name, unsigned short opcode) {
    Answers ignored;
    return run_on(name, opcode, ignored);
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

std::string RecordWriter::commit_open_batches() {
    // Every batch is committed even when one fails, so that the counts say
    // exactly what each datastore holds.
    std::string lost;
    for (auto const& name : batched_) {
        std::size_t const count = pending_[name];
        Answers answers;
        if (run_on(name, datastore::OP_COMMIT_BATCH, answers)) {
            if (count > 0) {  // a datastore is reported once it holds records
                counts_[name] += count;
                stored_ += count;
            }
            continue;
        }
        DatastoreFailureReport const failure{
            name,
            "the commit of its last " + std::to_string(count) + " records (they are not stored)",
            answers.refusals.empty() || answers.refusals.front().reason.empty()
                ? "its plug-in gave no reason"
                : answers.refusals.front().reason};
        lost += (lost.empty() ? "" : "; ") + failure.text();
    }
    pending_.clear();
    if (!lost.empty()) {
        batched_.clear();
    }
    return lost;
}

void RecordWriter::commit_batches() {
    std::string const lost = commit_open_batches();
    if (!lost.empty()) {
        throw std::runtime_error(lost);
    }
}

bool RecordWriter::write(datastore::InsertRequest& record) {
    Answers answers;
    if (datastore::execute_ioctl(targets_, datastore::OP_INSERT, nullptr, &record, &answers,
                                 remember_answer) == 0) {
        last_error_.clear();
        for (auto const& refusal : answers.refusals) {
            if (!refusal.reason.empty()) {
                last_error_ += (last_error_.empty() ? "\"" : "; \"") + refusal.instance_name +
                               "\": " + refusal.reason;
            }
        }
        return false;
    }
    auto extension = answers.acceptor.lock();
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
