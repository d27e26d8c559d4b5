#include "row_reader.h"

#include <cstdint>
#include <cstring>

#include <datastore/columns.h>

#include "node_names.h"
#include "row_members.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// Holds most cells whole, so that only long provider output takes more
// calls. The drivers copy what a cell holds, not the whole buffer, so its
// size costs memory only.
constexpr SQLLEN text_buffer_size = 4096;

// The C type a member is read as, by the member's own type.
struct CTypeOf {
    SQLSMALLINT operator()(std::int64_t const&) const { return SQL_C_SBIGINT; }
    SQLSMALLINT operator()(double const&) const { return SQL_C_DOUBLE; }
    SQLSMALLINT operator()(std::string const&) const { return SQL_C_CHAR; }
    SQLSMALLINT operator()(std::vector<std::string> const&) const { return SQL_C_CHAR; }
    SQLSMALLINT operator()(std::int32_t const&) const { return SQL_C_SLONG; }
    SQLSMALLINT operator()(provider::encoding const&) const { return SQL_C_SLONG; }
};

SQLSMALLINT c_type_of(int member) {
    Row const row;
    return visit_member(row, static_cast<RowMember>(member), CTypeOf{});
}

SQLLEN width_of(SQLSMALLINT c_type) {
    switch (c_type) {
        case SQL_C_SBIGINT:
            return sizeof(std::int64_t);
        case SQL_C_DOUBLE:
            return sizeof(double);
        case SQL_C_CHAR:
            return text_buffer_size;
        default:
            return sizeof(std::int32_t);
    }
}

void set_attribute(SQLHSTMT statement, SQLINTEGER attribute, SQLPOINTER value, char const* what) {
    check(SQLSetStmtAttr(statement, attribute, value, 0), SQL_HANDLE_STMT, statement, what);
}

}  // namespace

// Reads one cell of the current result row into a Row member of its type.
struct RowReader::CellReader {
    RowReader& reader;
    Target& target;

    template <typename Number>
    void operator()(Number& value) const {
        if (!reader.read_number(target, value)) {
            value = 0;
        }
    }
    void operator()(provider::encoding& value) const {
        std::int32_t number = 0;
        reader.read_number(target, number);
        value = static_cast<provider::encoding>(number);
    }
    void operator()(std::string& text) const { reader.read_text(target, text); }
    void operator()(std::vector<std::string>& names) const {
        reader.read_text(target, reader.node_names_);
        common::split_node_names(reader.node_names_, names);
    }
};

RowReader::RowReader(SQLHSTMT statement, std::map<std::string, int> const& fields,
                     Fetching fetching)
    : statement_(statement), fetching_(fetching) {
    SQLULEN const rows = fetching == Fetching::bound_blocks ? rows_per_fetch : 1;
    SQLSMALLINT columns = 0;
    check(SQLNumResultCols(statement, &columns), SQL_HANDLE_STMT, statement, "SQLNumResultCols");
    for (SQLUSMALLINT column = 1; column <= columns; ++column) {
        char name[256] = {};
        SQLSMALLINT length = 0;
        check(
            SQLColAttribute(statement, column, SQL_DESC_NAME, name, sizeof name, &length, nullptr),
            SQL_HANDLE_STMT, statement, "SQLColAttribute");
        int const member = common::row_member_of(name, fields);
        if (member >= 0) {
            SQLSMALLINT const c_type = c_type_of(member);
            SQLLEN const width = width_of(c_type);
            targets_.push_back(Target{column, member, c_type, width,
                                      std::vector<char>(static_cast<std::size_t>(width) * rows),
                                      std::vector<SQLLEN>(rows)});
        }
    }
    if (fetching == Fetching::cell_by_cell) {
        return;
    }
    if (fetching == Fetching::bound_blocks) {
        row_status_.resize(rows);
        set_attribute(statement, SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(rows),
                      "SQL_ATTR_ROW_ARRAY_SIZE");
        set_attribute(statement, SQL_ATTR_ROWS_FETCHED_PTR, &fetched_, "SQL_ATTR_ROWS_FETCHED_PTR");
        set_attribute(statement, SQL_ATTR_ROW_STATUS_PTR, row_status_.data(),
                      "SQL_ATTR_ROW_STATUS_PTR");
    }
    // Bound only now that targets_ no longer moves.
    for (Target& target : targets_) {
        check(SQLBindCol(statement, target.column, target.c_type, target.cells.data(), target.width,
                         target.indicators.data()),
              SQL_HANDLE_STMT, statement, "SQLBindCol");
    }
}

template <typename Number>
bool RowReader::read_number(Target& target, Number& value) {
    if (fetching_ == Fetching::cell_by_cell) {
        check(SQLGetData(statement_, target.column, target.c_type, target.cell(0), target.width,
                         &target.indicators[0]),
              SQL_HANDLE_STMT, statement_, "SQLGetData");
    }
    if (target.indicators[current_] == SQL_NULL_DATA) {
        return false;
    }
    std::memcpy(&value, target.cell(current_), sizeof value);
    return true;
}

void RowReader::read_text(Target& target, std::string& text) {
    if (fetching_ == Fetching::cell_by_cell) {
        read_whole_text(target, text);
        return;
    }
    SQLLEN const indicator = target.indicators[current_];
    if (indicator == SQL_NULL_DATA) {
        text.clear();
        return;
    }
    if (indicator != SQL_NO_TOTAL && indicator < target.width) {
        text.assign(target.cell(current_), static_cast<std::size_t>(indicator));
        return;
    }
    // Cut to the buffer: SQLGetData starts it again, on the cell's own row.
    if (fetching_ == Fetching::bound_blocks) {
        check(SQLSetPos(statement_, current_ + 1, SQL_POSITION, SQL_LOCK_NO_CHANGE),
              SQL_HANDLE_STMT, statement_, "SQLSetPos");
    }
    read_whole_text(target, text);
}

void RowReader::read_whole_text(Target& target, std::string& text) {
    text.clear();
    // The current row's cell is read already, so it serves as the first part.
    char* const chunk = target.cell(current_);
    SQLLEN indicator = 0;
    SQLRETURN rc =
        SQLGetData(statement_, target.column, SQL_C_CHAR, chunk, target.width, &indicator);
    if (rc == SQL_NO_DATA || indicator == SQL_NULL_DATA) {
        return;
    }
    check(rc, SQL_HANDLE_STMT, statement_, "SQLGetData");
    // Every part arrives with a terminating NUL; a cut part (01004) fills
    // the buffer but for that byte.
    std::size_t const room = static_cast<std::size_t>(target.width) - 1;
    if (indicator != SQL_NO_TOTAL && static_cast<std::size_t>(indicator) <= room) {
        text.assign(chunk, static_cast<std::size_t>(indicator));
        return;
    }
    // A long cell: the rest goes straight into the text, in one more call
    // when the driver tells the length.
    if (indicator != SQL_NO_TOTAL) {
        text.reserve(static_cast<std::size_t>(indicator) + 1);
    }
    text.assign(chunk, room);
    std::size_t want =
        indicator == SQL_NO_TOTAL ? room : static_cast<std::size_t>(indicator) - room;
    for (;;) {
        std::size_t const offset = text.size();
        text.resize(offset + want + 1);
        rc = SQLGetData(statement_, target.column, SQL_C_CHAR, &text[offset],
                        static_cast<SQLLEN>(want + 1), &indicator);
        if (rc == SQL_NO_DATA) {
            text.resize(offset);
            return;
        }
        check(rc, SQL_HANDLE_STMT, statement_, "SQLGetData");
        if (indicator != SQL_NO_TOTAL && static_cast<std::size_t>(indicator) <= want) {
            text.resize(offset + static_cast<std::size_t>(indicator));
            return;
        }
        text.resize(offset + want);
        want = indicator == SQL_NO_TOTAL ? want * 2 : static_cast<std::size_t>(indicator) - want;
    }
}

bool RowReader::read(Row& row) {
    if (next_ == fetched_) {
        SQLRETURN const rc = SQLFetch(statement_);
        if (rc == SQL_NO_DATA) {
            return false;
        }
        check(rc, SQL_HANDLE_STMT, statement_, "SQLFetch");
        if (fetching_ != Fetching::bound_blocks) {
            fetched_ = 1;
        }
        next_ = 0;
        if (fetched_ == 0) {
            return false;
        }
    }
    current_ = next_++;
    if (!row_status_.empty() && row_status_[current_] == SQL_ROW_ERROR) {
        throw OdbcError("SQLFetch: the driver could not fetch row " + std::to_string(current_ + 1) +
                            " of a block",
                        false);
    }
    for (Target& target : targets_) {
        visit_member(row, static_cast<RowMember>(target.member), CellReader{*this, target});
    }
    return true;
}

RowReader::Fetching fetching_of(Connection const& link) {
    if (!link.reads_bound_columns()) {
        return RowReader::Fetching::cell_by_cell;
    }
    return link.reads_cells_of_blocks() ? RowReader::Fetching::bound_blocks
                                        : RowReader::Fetching::bound_rows;
}

}  // namespace vexa::datastore::odbc_plugin
