#include "row_reader.h"

#include <datastore/columns.h>

#include "node_names.h"
#include "row_members.h"

namespace vexa::datastore::odbc_plugin {

namespace {

// Holds most cells whole, so that only long provider output takes more
// calls. The drivers copy what a cell holds, not the whole buffer, so its
// size costs memory only.
constexpr std::size_t text_buffer_size = 4096;

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

}  // namespace

// Reads one cell of the current result row into a Row member of its type.
struct RowReader::CellReader {
    RowReader& reader;
    Target& target;

    void operator()(std::int32_t& value) const { value = reader.integer(target); }
    void operator()(std::int64_t& value) const { value = reader.big_integer(target); }
    void operator()(double& value) const { value = reader.real(target); }
    void operator()(provider::encoding& value) const {
        value = static_cast<provider::encoding>(reader.integer(target));
    }
    void operator()(std::string& text) const { reader.read_text(target, text); }
    void operator()(std::vector<std::string>& names) const {
        reader.read_text(target, reader.node_names_);
        common::split_node_names(reader.node_names_, names);
    }
};

SQLPOINTER RowReader::Target::buffer() {
    switch (c_type) {
        case SQL_C_SBIGINT:
            return &big_integer;
        case SQL_C_DOUBLE:
            return &real;
        case SQL_C_CHAR:
            return text.data();
        default:
            return &integer;
    }
}

SQLLEN RowReader::Target::buffer_size() const {
    switch (c_type) {
        case SQL_C_SBIGINT:
            return sizeof big_integer;
        case SQL_C_DOUBLE:
            return sizeof real;
        case SQL_C_CHAR:
            return static_cast<SQLLEN>(text.size());
        default:
            return sizeof integer;
    }
}

RowReader::RowReader(SQLHSTMT statement, std::map<std::string, int> const& fields,
                     bool bind_columns)
    : statement_(statement), bound_(bind_columns) {
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
            Target target{column, member, c_type_of(member), 0, 0, 0, {}, 0};
            if (target.c_type == SQL_C_CHAR) {
                target.text.resize(text_buffer_size);
            }
            targets_.push_back(std::move(target));
        }
    }
    if (!bound_) {
        return;
    }
    // Bound only now that targets_ no longer moves.
    for (Target& target : targets_) {
        check(SQLBindCol(statement, target.column, target.c_type, target.buffer(),
                         target.buffer_size(), &target.indicator),
              SQL_HANDLE_STMT, statement, "SQLBindCol");
    }
}

bool RowReader::has_number(Target& target) {
    if (!bound_) {
        check(SQLGetData(statement_, target.column, target.c_type, target.buffer(),
                         target.buffer_size(), &target.indicator),
              SQL_HANDLE_STMT, statement_, "SQLGetData");
    }
    return target.indicator != SQL_NULL_DATA;
}

void RowReader::read_text(Target& target, std::string& text) {
    if (!bound_) {
        read_whole_text(target, text);
        return;
    }
    if (target.indicator == SQL_NULL_DATA) {
        text.clear();
    } else if (target.indicator != SQL_NO_TOTAL &&
               static_cast<std::size_t>(target.indicator) < target.text.size()) {
        text.assign(target.text.data(), static_cast<std::size_t>(target.indicator));
    } else {
        read_whole_text(target, text);  // cut to the buffer: SQLGetData starts it again
    }
}

void RowReader::read_whole_text(Target& target, std::string& text) {
    text.clear();
    std::string& chunk = target.text;
    SQLLEN indicator = 0;
    SQLRETURN rc = SQLGetData(statement_, target.column, SQL_C_CHAR, chunk.data(),
                              static_cast<SQLLEN>(chunk.size()), &indicator);
    if (rc == SQL_NO_DATA || indicator == SQL_NULL_DATA) {
        return;
    }
    check(rc, SQL_HANDLE_STMT, statement_, "SQLGetData");
    // Every part arrives with a terminating NUL; a cut part (01004) fills
    // the buffer but for that byte.
    std::size_t const room = chunk.size() - 1;
    if (indicator != SQL_NO_TOTAL && static_cast<std::size_t>(indicator) <= room) {
        text.assign(chunk.data(), static_cast<std::size_t>(indicator));
        return;
    }
    // A long cell: the rest goes straight into the text, in one more call
    // when the driver tells the length.
    if (indicator != SQL_NO_TOTAL) {
        text.reserve(static_cast<std::size_t>(indicator) + 1);
    }
    text.assign(chunk.data(), room);
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
    SQLRETURN const rc = SQLFetch(statement_);
    if (rc == SQL_NO_DATA) {
        return false;
    }
    check(rc, SQL_HANDLE_STMT, statement_, "SQLFetch");
    for (Target& target : targets_) {
        visit_member(row, static_cast<RowMember>(target.member), CellReader{*this, target});
    }
    return true;
}

}  // namespace vexa::datastore::odbc_plugin
