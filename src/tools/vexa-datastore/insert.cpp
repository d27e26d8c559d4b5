// The insert command: JSON Lines records stored in a writable datastore.
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "commands.h"
#include "json_record.h"
#include "open_datastores.h"
#include "progress.h"
#include "quoted_list.h"
#include "record_writer.h"

namespace vexa::tool {

namespace {

// Microseconds since the epoch, but always after `last`, so records stored
// in one run never share a unique time stamp.
std::int64_t unique_now(std::int64_t& last) {
    auto now = std::chrono::duration_cast<std::chrono::microseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
                   .count();
    last = std::max<std::int64_t>(now, last + 1);
    return last;
}

// nlohmann's texts start with "[json.exception.parse_error.101] "; the rest
// says what and where.
std::string reason(std::exception const& e) {
    std::string text = e.what();
    if (text.rfind("[json.exception.", 0) == 0 && text.find("] ") != std::string::npos) {
        text.erase(0, text.find("] ") + 2);
    }
    return text;
}

}  // namespace

int run_insert(GlobalOptions const& global, InsertOptions const& options) {
    bool from_stdin = options.file == "-";
    std::string const source = from_stdin ? "standard input" : options.file;
    std::ifstream file;
    if (!from_stdin) {
        if (std::filesystem::is_directory(options.file)) {
            throw std::runtime_error("cannot read " + options.file + ": it is a directory");
        }
        file.open(options.file);
        if (!file) {
            throw std::runtime_error("cannot read " + options.file + ": " + std::strerror(errno));
        }
    }
    std::istream& input = from_stdin ? std::cin : file;

    open_datastores_or_fail(global.config_file);
    RecordWriter writer(options.datastore);
    Progress progress("inserting records", 0);
    std::size_t skipped = 0;
    std::size_t number = 0;
    std::int64_t last_stamp = 0;
    std::string line;
    while (std::getline(input, line)) {
        ++number;
        if (vexa::str::stripws(line).empty()) {
            continue;
        }
        datastore::InsertRequest record;
        try {
            record = record_from_json(nlohmann::json::parse(line), unique_now(last_stamp));
        } catch (std::exception const& e) {
            std::cerr << "vexa-datastore: " << source << " line " << number
                      << " skipped: " << reason(e) << '\n';
            ++skipped;
            continue;
        }
        if (!writer.write(record)) {
            std::cout << writer.report() << '\n';
            throw std::runtime_error(source + " line " + std::to_string(number) +
                                     ": no datastore stored the record (tried " +
                                     quoted_list(writer.targets()) + "; read-only?)");
        }
        progress.update(writer.stored());
    }
    if (input.bad()) {
        throw std::runtime_error("cannot read " + source + " after line " + std::to_string(number));
    }
    std::cout << writer.report() << '\n';
    return skipped == 0 ? 0 : 1;
}

}  // namespace vexa::tool
