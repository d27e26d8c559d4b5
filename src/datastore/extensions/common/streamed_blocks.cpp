#include "streamed_blocks.h"

#include <algorithm>
#include <stdexcept>

namespace vexa::datastore::common {

StreamedBlocks::StreamedBlocks(StreamRequest const& request, StreamResult& result)
    : request_(request),
      result_(result),
      block_rows_(std::max<std::size_t>(request.block_rows, 1)) {
    result_ = StreamResult{};
    if (static_cast<bool>(request.on_rows) == static_cast<bool>(request.on_table)) {
        throw std::invalid_argument(
            "a streamed read needs exactly one callback, for records or for cells");
    }
}

void StreamedBlocks::set_columns(std::vector<std::string> columns) {
    cells_.columns = std::move(columns);
}

Row& StreamedBlocks::next_row() { return records_.emplace_back(); }

std::vector<std::optional<std::string>>& StreamedBlocks::next_cells() {
    auto& cells = cells_.rows.emplace_back();
    cells.reserve(cells_.columns.size());
    return cells;
}

bool StreamedBlocks::row_read() {
    ++result_.rows;
    std::size_t const held = wants_records() ? records_.size() : cells_.rows.size();
    return held < block_rows_ || hand_over();
}

void StreamedBlocks::finish() {
    bool const held = wants_records() ? !records_.empty() : !cells_.rows.empty();
    if (held || !handed_any_) {
        hand_over();
    }
}

bool StreamedBlocks::hand_over() {
    handed_any_ = true;
    bool const more = wants_records() ? request_.on_rows(records_) : request_.on_table(cells_);
    records_.clear();
    cells_.rows.clear();
    return more;
}

}  // namespace vexa::datastore::common
