// A well-behaved test plug-in whose behaviour each test steers through the
// source parameters it is opened with: "key=value" items separated by "|",
// all optional, unknown keys ignored.
//   open=N                    open_instance() returns N (default 0)
//   code=N                    control() returns N at once, without dispatching
//   throw=std | throw=other   control() throws std::runtime_error("steered
//                             failure") or an int; a real plug-in never lets
//                             control() throw, this one does on purpose
//   row=PROVIDER/HOST/STAMP   select() appends one canned row per item, in order
//   insert=fail               insert() returns false
//   unsupported=select        select() behaves as the base class's (throws
//                             "unsupported operation")
//   ready=false               is_ready() returns false
//   reason=TEXT               OP_LAST_FAILURE answers 0 with TEXT, whatever
//                             code= and throw= say (also after a failed open)
// Counters of this library (every copy of this source is its own library with
// its own counters) are read through the extra C functions at the end.
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/extension.h>
#include <datastore/operations.h>
#include <util/str.h>

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::Row;

int created_count = 0;
int destroyed_count = 0;
int insert_count = 0;
std::string last_query;

struct CannedRow {
    std::string provider;
    std::string host;
    std::int64_t stamp = 0;
};

// What the source parameters ask for.
struct Steering {
    int open_result = 0;
    bool has_code = false;
    int code = 0;
    std::string throw_kind;
    std::vector<CannedRow> rows;
    bool insert_fails = false;
    bool select_unsupported = false;
    bool ready = true;
    bool has_reason = false;
    std::string reason;
};

CannedRow parse_row(std::string const& value) {
    std::vector<std::string> parts = vexa::str::split(value, '/', true);
    if (parts.size() != 3) {
        throw std::invalid_argument("row needs PROVIDER/HOST/STAMP: " + value);
    }
    return CannedRow{parts[0], parts[1], std::stoll(parts[2])};
}

// Throws std::invalid_argument or std::out_of_range for a malformed item.
Steering parse_steering(std::string const& parameters) {
    Steering steering;
    for (std::string const& item : vexa::str::split(parameters, '|', false)) {
        std::string::size_type equals = item.find('=');
        if (equals == std::string::npos) {
            throw std::invalid_argument("not key=value: " + item);
        }
        std::string key = item.substr(0, equals);
        std::string value = item.substr(equals + 1);
        if (key == "open") {
            steering.open_result = std::stoi(value);
        } else if (key == "code") {
            steering.has_code = true;
            steering.code = std::stoi(value);
        } else if (key == "throw") {
            steering.throw_kind = value;
        } else if (key == "row") {
            steering.rows.push_back(parse_row(value));
        } else if (key == "insert") {
            steering.insert_fails = value == "fail";
        } else if (key == "unsupported") {
            steering.select_unsupported = value == "select";
        } else if (key == "ready") {
            steering.ready = value != "false";
        } else if (key == "reason") {
            steering.has_reason = true;
            steering.reason = value;
        }
    }
    return steering;
}

Row make_row(CannedRow const& canned, int position) {
    Row row;
    row.rowid = position;
    row.Provider = canned.provider;
    row.Hostname = canned.host;
    row.num_nodes = 2;
    row.node_names = {"n1", "n2"};
    row.Exit_status = 0;
    row.Timestamp = 1700000000;
    row.Duration = 1.5;
    row.Encoding = vexa::provider::raw;
    row.STDOUT = "out";
    row.STDERR = "err";
    row.OptionID = "opt";
    row.version = 3;
    row.Username = "user";
    row.Unique_timestamp = canned.stamp;
    return row;
}

class SteeredExtension : public vexa::datastore::interface {
  public:
    SteeredExtension() { hosts_query = "SELECT * FROM vexa_1 WHERE Provider = 'uname'"; }

    bool is_ready() override { return steering_.ready; }

    int control(unsigned short opcode, void const* in, void* out, void* extra) override {
        if (opcode == vexa::datastore::OP_LAST_FAILURE && steering_.has_reason) {
            *static_cast<std::string*>(out) = steering_.reason;
            return OPERATION_SUCCESSFULL;
        }
        if (steering_.has_code) {
            return steering_.code;
        }
        if (steering_.throw_kind == "std") {
            throw std::runtime_error("steered failure");
        }
        if (steering_.throw_kind == "other") {
            throw 42;
        }
        return interface::control(opcode, in, out, extra);
    }

    int open_instance(std::string const& source_parameters) override {
        parameters_ = source_parameters;
        try {
            steering_ = parse_steering(source_parameters);
        } catch (std::exception const&) {
            return OPERATION_UNSUCCESSFULL;
        }
        return steering_.open_result;
    }

    std::string describe() const override { return "steered " + parameters_; }

    bool insert(vexa::provider::header const&, std::string const&, std::string const&,
                std::string const&) override {
        if (steering_.insert_fails) {
            return false;
        }
        ++insert_count;
        return true;
    }

    bool select(std::string query, std::vector<Row>& out,
                std::map<std::string, int> const& fields) override {
        if (steering_.select_unsupported) {
            return interface::select(query, out, fields);
        }
        last_query = query;
        for (std::size_t i = 0; i < steering_.rows.size(); ++i) {
            out.push_back(make_row(steering_.rows[i], static_cast<int>(i) + 1));
        }
        return true;
    }

  private:
    std::string parameters_;
    Steering steering_;
};

}  // namespace

#define STEERED_EXPORT extern "C" __attribute__((visibility("default")))

STEERED_EXPORT DataStoreExtension* create() noexcept {
    try {
        DataStoreExtension* extension = new SteeredExtension;
        ++created_count;
        return extension;
    } catch (...) {
        return nullptr;
    }
}

// Only counts real objects: a null pointer is accepted and ignored, as delete does.
STEERED_EXPORT void destroy(DataStoreExtension* extension) noexcept {
    if (extension != nullptr) {
        ++destroyed_count;
        delete extension;
    }
}

// How many objects destroy() has released.
STEERED_EXPORT int steered_destroyed(void) noexcept { return destroyed_count; }

// How many objects create() has made.
STEERED_EXPORT int steered_created(void) noexcept { return created_count; }

// The last query any instance's select() received, "" before any.
STEERED_EXPORT char const* steered_last_query(void) noexcept { return last_query.c_str(); }

// How many insert() calls succeeded.
STEERED_EXPORT int steered_inserts(void) noexcept { return insert_count; }
