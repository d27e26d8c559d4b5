// The blocks of a streamed read (OP_STREAM_QUERY), gathered row by row and
// handed to the caller's callback whenever one is full.
#ifndef VEXA_PLUGIN_COMMON_STREAMED_BLOCKS_H_
#define VEXA_PLUGIN_COMMON_STREAMED_BLOCKS_H_

#include <optional>
#include <string>
#include <vector>

#include <datastore/operations.h>

namespace vexa::datastore::common {

// Holds one block of the kind `request` asks for (records when its on_rows
// is set, else cells of named columns) and counts the rows handed over in
// `result`. Both records must outlive it. A plug-in reads a result row into
// next_row() or next_cells(), then calls row_read(), and finish() at the end.
class StreamedBlocks {
  public:
    // Throws std::invalid_argument unless exactly one callback is set.
    StreamedBlocks(StreamRequest const& request, StreamResult& result);

    bool wants_records() const { return static_cast<bool>(request_.on_rows); }
    // The result's column names, for a request of cells.
    void set_columns(std::vector<std::string> columns);
    std::vector<std::string> const& columns() const { return cells_.columns; }

    // A fresh row of the block, to be filled.
    Row& next_row();
    std::vector<std::optional<std::string>>& next_cells();
    // Hands the block over when it is full; false when the caller wants no
    // more rows.
    bool row_read();
    // Hands over the rows still held; a result without rows still makes one
    // (empty) block.
    void finish();

  private:
    bool hand_over();

    StreamRequest const& request_;
    StreamResult& result_;
    std::size_t block_rows_;
    bool handed_any_ = false;
    std::vector<Row> records_;
    Table cells_;
};

}  // namespace vexa::datastore::common

#endif  // VEXA_PLUGIN_COMMON_STREAMED_BLOCKS_H_
