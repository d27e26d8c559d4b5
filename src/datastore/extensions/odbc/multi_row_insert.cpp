#include "multi_row_insert.h"

#include <stdexcept>

namespace vexa::datastore::odbc_plugin {

std::string multi_row_insert(std::string const& one_row_insert, std::size_t rows) {
    std::string const keyword = "VALUES(";
    std::string::size_type const open = one_row_insert.find(keyword);
    std::string::size_type const close =
        open == std::string::npos ? open : one_row_insert.find(')', open);
    if (close == std::string::npos || rows == 0) {
        throw std::invalid_argument("cannot write " + std::to_string(rows) + " rows into \"" +
                                    one_row_insert + "\"");
    }
    std::string::size_type const list = open + keyword.size() - 1;
    std::string const values = one_row_insert.substr(list, close + 1 - list);
    std::string text = one_row_insert.substr(0, close + 1);
    text.reserve(one_row_insert.size() + (rows - 1) * (values.size() + 2));
    for (std::size_t row = 1; row < rows; ++row) {
        text += ", " + values;
    }
    return text + one_row_insert.substr(close + 1);
}

}  // namespace vexa::datastore::odbc_plugin
