#include <datastore/extension.h>

#include <cstring>
#include <exception>
#include <stdexcept>

#include <util/str.h>

namespace vexa::datastore {

namespace {

// The beginning of an exception text that means "this extension does not
// offer the operation"; anything longer that starts so counts as well.
constexpr char kUnsupportedText[] = "unsupported operation";
constexpr std::size_t kUnsupportedTextLength = sizeof(kUnsupportedText) - 1;

// The typed views of control()'s untyped pointers. A null pointer is a
// failed request, not a crash: control() never lets a fault escape.
template <typename T, typename Pointer>
T& must(Pointer pointer) {
    if (pointer == nullptr) {
        throw std::invalid_argument("missing control argument");
    }
    return *static_cast<T*>(pointer);
}

SQLParameters const& sql_of(ReadParameters const& parameters) {
    return must<SQLParameters const>(parameters.sql);
}

}  // namespace

DataStoreExtension::DataStoreExtension() = default;
DataStoreExtension::~DataStoreExtension() = default;

interface::interface() = default;
interface::~interface() = default;

int interface::control(unsigned short opcode, void const* in, void* out, void* /*extra*/) {
    bool succeeded = false;
    try {
        switch (opcode) {
            case OP_SELECT_HOSTS: {
                auto const& parameters = must<ReadParameters const>(in);
                succeeded =
                    select(hosts_query, must<std::vector<Row>>(out), sql_of(parameters).fields);
                break;
            }
            case OP_SELECT: {
                auto const& parameters = must<ReadParameters const>(in);
                SQLParameters const& sql = sql_of(parameters);
                std::string condition = str::stripws(sql.filter);
                auto& rows = must<std::vector<Row>>(out);
                succeeded = sql.query.empty()
                                ? select_provider(parameters.providers, rows, std::move(condition))
                                : select(sql.query, rows, sql.fields);
                break;
            }
            case OP_GET_LATEST_ROWS: {
                auto const& parameters = must<ReadParameters const>(in);
                succeeded = get_latest_rows_provider(
                    parameters.providers, must<std::vector<Row>>(out), parameters.hostnames);
                break;
            }
            case OP_INSERT: {
                auto const& request = must<InsertRequest const>(out);
                succeeded = insert(request.header, request.option_id, request.stdout_text,
                                   request.stderr_text);
                break;
            }
            default:
                return UNSUPPORTED_OPERATION;
        }
    } catch (std::exception const& error) {
        return std::strncmp(error.what(), kUnsupportedText, kUnsupportedTextLength) == 0
                   ? UNSUPPORTED_OPERATION
                   : OPERATION_UNSUCCESSFULL;
    } catch (...) {
        return OPERATION_UNSUCCESSFULL;
    }
    return succeeded ? OPERATION_SUCCESSFULL : OPERATION_UNSUCCESSFULL;
}

bool interface::insert(provider::header const& /*header*/, std::string const& /*option_id*/,
                       std::string const& /*stdout_text*/, std::string const& /*stderr_text*/) {
    throw std::runtime_error(kUnsupportedText);
}

bool interface::select(std::string /*query*/, std::vector<Row>& /*out*/,
                       std::map<std::string, int> const& /*fields*/) {
    throw std::runtime_error(kUnsupportedText);
}

}  // namespace vexa::datastore
