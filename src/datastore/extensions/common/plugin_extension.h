// The base of this project's plug-ins.
#ifndef VEXA_PLUGIN_COMMON_PLUGIN_EXTENSION_H_
#define VEXA_PLUGIN_COMMON_PLUGIN_EXTENSION_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <datastore/extension.h>
#include <datastore/failing_since.h>
#include <datastore/operations.h>

#include "last_failure.h"

namespace vexa::datastore::common {

// An interface whose control() also serves the project's own operations
// (datastore/operations.h) through the typed operations below, and hands
// every other opcode to interface::control. A null record fails an
// operation without a call; an operation that throws is answered 1, its
// reason logged for the instance at level 4. control() never throws.
//
// control() also serves OP_LAST_FAILURE: every call through it that answers
// 1 keeps its reason for the calling thread (what the plug-in noted with
// note_failure() or threw, else that the instance refused the call, with
// its describe() text), and so does remember_failure().
class PluginExtension : public interface {
  public:
    // Starts with the composed hosts query.
    PluginExtension();

    int control(unsigned short opcode, void const* in, void* out, void* extra) override;

  protected:
    // Keeps `reason` as this instance's last failure in the calling thread,
    // for a failure outside control(), such as open_instance()'s; the
    // library asks for it before it destroys an instance that did not open.
    void remember_failure(std::string const& reason) noexcept { last_failure_.keep(reason); }

    // The limit OP_SET_TIME_LIMIT set last (0: none); each call of the
    // plug-in reads it when it starts. Any thread may read or set it.
    std::chrono::milliseconds time_limit() const { return time_limit_.load(); }
    void set_time_limit(std::chrono::milliseconds limit) { time_limit_.store(limit); }

    // OP_QUERY_TABLE: replaces `out` with the result of `sql`.
    virtual int query_table_operation(std::string const& sql, Table& out) = 0;
    // OP_STREAM_QUERY: hands the rows of `request`'s query to its callback in
    // blocks, counting them in `result`. Throws, its reason then put in
    // result.failure, on failure.
    virtual int stream_query_operation(StreamRequest const& request, StreamResult& result) = 0;
    // OP_BEGIN_BATCH and OP_COMMIT_BATCH: whether the batch began or was
    // committed.
    virtual bool begin_batch() = 0;
    virtual bool commit_batch() = 0;
    // OP_PRUNE: removes (or counts) the rows `request` describes into
    // `removed`.
    virtual int prune_operation(PruneRequest const& request, std::uint64_t& removed) = 0;
    // OP_FAILING_SINCE: replaces `out` with the history of each pair of
    // `pairs` (look_up_pairs of pair_lookups.h), or throws and leaves it.
    virtual int failing_since_operation(std::vector<RunPairBound> const& pairs,
                                        std::vector<RunPairHistory>& out) = 0;
    // OP_INSERT; interface::control's unless a plug-in needs more around it.
    virtual int insert_operation(void const* in, void* out, void* extra);

  private:
    // control() but OP_LAST_FAILURE, which must not replace what it reports.
    int dispatch(unsigned short opcode, void const* in, void* out, void* extra);
    // OP_STREAM_QUERY with control()'s records, its failure's reason kept in
    // the result for the caller.
    int stream_query(void const* in, void* out);

    LastFailure last_failure_;
    std::atomic<std::chrono::milliseconds> time_limit_{std::chrono::milliseconds::zero()};
};

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_PLUGIN_EXTENSION_H_
