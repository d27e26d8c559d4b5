#include "output/output.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "output/output_formats.h"
#include "output/terminal.h"

namespace vexa::tool {

std::string cell_text(Cell const& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_null()) {
        return "";
    }
    if (value.is_array()) {
        std::string joined;
        for (auto const& item : value) {
            joined += (joined.empty() ? "" : ",") + cell_text(item);
        }
        return joined;
    }
    return value.dump();
}

std::unique_ptr<RowOutput> open_output(std::vector<std::string> columns,
                                       GlobalOptions const& global, std::ostream& out) {
    switch (global.format) {
        case Format::json:
            return json_output(std::move(columns), out);
        case Format::jsonl:
            return json_lines_output(std::move(columns), out);
        case Format::csv:
            return csv_output(std::move(columns), out);
        case Format::table:
            break;
    }
    bool cut = &out == &std::cout && stdout_is_terminal() && !global.wide;
    return text_table_output(std::move(columns), cut ? output_width() : 0, out);
}

void print(Table const& table, GlobalOptions const& global) {
    auto output = open_output(table.columns, global);
    for (auto const& row : table.rows) {
        output->row(row);
    }
    output->finish();
}

void check_written(std::ostream& out) {
    if (!out) {
        int cause = errno;
        throw std::runtime_error(std::string("cannot write the output: ") +
                                 (cause != 0 ? std::strerror(cause) : "write error"));
    }
}

}  // namespace vexa::tool
