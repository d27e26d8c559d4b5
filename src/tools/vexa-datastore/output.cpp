#include "output.h"

#include <iostream>

#include "terminal.h"

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

void write_json(Table const& table, std::ostream& out) {
    auto array = Cell::array();
    for (auto const& row : table.rows) {
        Cell object = Cell::object();
        for (std::size_t i = 0; i < table.columns.size(); ++i) {
            object[table.columns[i]] = row[i];
        }
        array.push_back(std::move(object));
    }
    // Provider output is not always valid UTF-8; such bytes become U+FFFD
    // rather than aborting the whole listing.
    out << array.dump(2, ' ', false, Cell::error_handler_t::replace) << '\n';
}

namespace {

std::string csv_field(std::string const& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (char c : text) {
        quoted += c;
        if (c == '"') {
            quoted += '"';
        }
    }
    return quoted + "\"";
}

void write_csv_record(std::vector<std::string> const& fields, std::ostream& out) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
        out << (i ? "," : "") << csv_field(fields[i]);
    }
    out << "\r\n";
}

}  // namespace

void write_csv(Table const& table, std::ostream& out) {
    write_csv_record(table.columns, out);
    for (auto const& row : table.rows) {
        std::vector<std::string> fields;
        for (auto const& value : row) {
            fields.push_back(cell_text(value));
        }
        write_csv_record(fields, out);
    }
}

void print(Table const& table, Format format) {
    switch (format) {
        case Format::table:
            write_text_table(table, output_width(), std::cout);
            break;
        case Format::json:
            write_json(table, std::cout);
            break;
        case Format::csv:
            write_csv(table, std::cout);
            break;
    }
    std::cout.flush();
}

}  // namespace vexa::tool
