// The front end of streamed reads: every datastore holding provider data is
// read in turn and its blocks handed to the caller as they come, so an
// export never holds more than a block of rows.
#include <datastore/operations.h>

#include <algorithm>
#include <exception>
#include <memory>

#include <datastore/controller.h>
#include <datastore/extension.h>
#include <datastore/failures.h>
#include <datastore/parse_utility.h>
#include <util/log.h>

#include "failure_reasons.h"
#include "operation_messages.h"

namespace vexa::datastore {

namespace {

using Handle = std::weak_ptr<DataStoreExtension>;

int call(DataStoreController& controller, Handle const& handle, unsigned short opcode,
         void const* in, void* out) {
    try {
        return controller.control(handle, opcode, in, out, nullptr);
    } catch (...) {
        // A plug-in that lets an exception out has failed, like one that says so.
        return DataStoreExtension::OPERATION_UNSUCCESSFULL;
    }
}

// Where the blocks of one kind go: stamps them with their datastore's name,
// hands them to the caller, and reads a datastore that cannot stream with
// the whole-result operation of that kind instead.
template <typename Block>
class BlockSink {
  public:
    BlockSink(std::size_t block_rows, std::function<bool(Block const&)> const& on_block)
        : block_rows_(std::max<std::size_t>(block_rows, 1)), on_block_(on_block) {}
    virtual ~BlockSink() = default;

    // Points `request`'s callback of this kind at this sink for datastore `name`.
    virtual void attach(StreamRequest& request, std::string const& name) = 0;
    // Runs the whole-result operation on `handle` and hands its answer over
    // in blocks; answers as the operation did.
    virtual int read_whole(DataStoreController& controller, Handle const& handle,
                           std::string const& query) = 0;

    std::size_t block_rows() const { return block_rows_; }
    // Whether the caller wants no more rows (its callback said so or threw).
    bool stopped() const { return stopped_; }
    // Throws again what the caller's callback threw, which the plug-in's
    // control() would otherwise have taken for the datastore's failure.
    void rethrow() const {
        if (thrown_) {
            std::rethrow_exception(thrown_);
        }
    }

  protected:
    bool hand_over(Block const& block) {
        try {
            stopped_ = !on_block_(block);
        } catch (...) {
            thrown_ = std::current_exception();
            stopped_ = true;
        }
        return !stopped_;
    }

  private:
    std::size_t block_rows_;
    std::function<bool(Block const&)> const& on_block_;
    bool stopped_ = false;
    std::exception_ptr thrown_;
};

// Blocks of any columns, the instance name in a first column "datastore".
class TableSink : public BlockSink<Table> {
  public:
    using BlockSink::BlockSink;

    void attach(StreamRequest& request, std::string const& name) override {
        name_ = name;
        request.on_table = [this](Table const& block) { return take(block); };
    }

    int read_whole(DataStoreController& controller, Handle const& handle,
                   std::string const& query) override {
        Table whole;
        int const result = call(controller, handle, OP_QUERY_TABLE, &query, &whole);
        if (result != DataStoreExtension::OPERATION_SUCCESSFULL) {
            return result;
        }
        Table block{whole.columns, {}};
        std::size_t next = 0;
        do {
            std::size_t const end = std::min(whole.rows.size(), next + block_rows());
            block.rows.assign(std::make_move_iterator(whole.rows.begin() + next),
                              std::make_move_iterator(whole.rows.begin() + end));
            next = end;
        } while (take(block) && next < whole.rows.size());
        return result;
    }

  private:
    bool take(Table const& block) {
        if (columns_.empty()) {
            first_name_ = name_;
            columns_.push_back("datastore");
            columns_.insert(columns_.end(), block.columns.begin(), block.columns.end());
        } else if (!std::equal(block.columns.begin(), block.columns.end(), columns_.begin() + 1,
                               columns_.end())) {
            log::ErrorLog(7).stream() << "Columns of \"" << name_ << "\" differ from those of \""
                                      << first_name_ << "\"; its rows are left out";
            return false;
        }
        stamped_.columns = columns_;
        stamped_.rows.clear();
        for (auto const& row : block.rows) {
            auto& cells = stamped_.rows.emplace_back();
            cells.reserve(row.size() + 1);
            cells.emplace_back(name_);
            cells.insert(cells.end(), row.begin(), row.end());
        }
        return hand_over(stamped_);
    }

    std::string name_;
    std::string first_name_;
    std::vector<std::string> columns_;  // of the first datastore that answered
    Table stamped_;                     // reused from block to block
};

// Blocks of records, each stamped with its datastore in datastore_source.
class RowSink : public BlockSink<std::vector<Row>> {
  public:
    using BlockSink::BlockSink;

    void attach(StreamRequest& request, std::string const& name) override {
        name_ = name;
        request.on_rows = [this](std::vector<Row> const& block) { return take(block); };
    }

    int read_whole(DataStoreController& controller, Handle const& handle,
                   std::string const& query) override {
        SQLParameters sql;
        sql.query = query;
        ReadParameters const parameters{{}, {}, &sql};
        std::vector<Row> whole;
        int const result = call(controller, handle, OP_SELECT, &parameters, &whole);
        if (result != DataStoreExtension::OPERATION_SUCCESSFULL) {
            return result;
        }
        std::vector<Row> block;
        std::size_t next = 0;
        do {
            std::size_t const end = std::min(whole.size(), next + block_rows());
            block.assign(std::make_move_iterator(whole.begin() + next),
                         std::make_move_iterator(whole.begin() + end));
            next = end;
        } while (take(block) && next < whole.size());
        return result;
    }

  private:
    bool take(std::vector<Row> const& block) {
        stamped_ = block;
        for (Row& row : stamped_) {
            row.datastore_source = name_;
        }
        return hand_over(stamped_);
    }

    std::string name_;
    std::vector<Row> stamped_;  // reused from block to block
};

template <typename Block>
bool stream_everywhere(std::string const& query, BlockSink<Block>& sink,
                       std::vector<DatastoreFailure>* failures,
                       std::vector<std::string>* unsupported) {
    if (failures != nullptr) {
        failures->clear();
    }
    if (unsupported != nullptr) {
        unsupported->clear();
    }
    std::shared_ptr<DataStoreController> const controller =
        DataStoreController::createDataStoreController().lock();
    if (query.empty() || !controller) {
        return false;
    }
    bool answered = false;
    for (DataStoreInstance const& datastore : DataStoreParseUtility::get_datastore_vector()) {
        if (!datastore.first.source_types.test(data)) {
            continue;
        }
        std::string const& name = datastore.first.instance_name;
        StreamRequest request;
        request.query = query;
        request.block_rows = sink.block_rows();
        sink.attach(request, name);
        StreamResult streamed;
        int result = call(*controller, datastore.second, OP_STREAM_QUERY, &request, &streamed);
        detail::log_operation_result(result, OP_STREAM_QUERY, name);
        if (result == DataStoreExtension::UNSUPPORTED_OPERATION) {
            result = sink.read_whole(*controller, datastore.second, query);
            if (result == DataStoreExtension::UNSUPPORTED_OPERATION && unsupported != nullptr) {
                unsupported->push_back(name);
            }
        }
        sink.rethrow();
        if (result == DataStoreExtension::OPERATION_SUCCESSFULL) {
            answered = true;
        } else if (result != DataStoreExtension::UNSUPPORTED_OPERATION) {
            if (streamed.failure.empty()) {
                detail::add_failure(failures, name, datastore.second, result);
            } else if (failures != nullptr) {
                failures->push_back({name, result, streamed.failure});
            }
        }
        if (sink.stopped()) {
            break;
        }
    }
    return answered;
}

}  // namespace

bool stream_table(std::string const& query, std::size_t block_rows,
                  std::function<bool(Table const&)> const& on_block,
                  std::vector<DatastoreFailure>* failures, std::vector<std::string>* unsupported) {
    TableSink sink(block_rows, on_block);
    return stream_everywhere(query, sink, failures, unsupported);
}

bool stream_rows(std::string const& query, std::size_t block_rows,
                 std::function<bool(std::vector<Row> const&)> const& on_block,
                 std::vector<DatastoreFailure>* failures, std::vector<std::string>* unsupported) {
    RowSink sink(block_rows, on_block);
    return stream_everywhere(query, sink, failures, unsupported);
}

}  // namespace vexa::datastore
