// The insert command: JSON Lines records stored in a writable datastore.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <unordered_set>

#include "commands/commands.h"
#include "output/progress.h"
#include "support/json_record.h"
#include "support/open_datastores.h"
#include "support/record_writer.h"
#include "support/time_arguments.h"

namespace vexa::tool {

namespace {

struct InsertOptions {
    std::string file = "-";  // "-": standard input
    std::string datastore;   // empty: the first datastore that accepts a record
    std::size_t batch = 10000;
};

InsertOptions options;

}  // namespace

void add_insert_options(CLI::App* command) {
    command->add_option("file", options.file, "JSON Lines file, - for standard input")
        ->type_name("FILE")
        ->capture_default_str();
    command
        ->add_option("--datastore", options.datastore,
                     "the datastore to write (default: the first that accepts)")
        ->type_name("NAME");
    add_batch_option(command, options.batch);
}

namespace {

// Unique time stamps of one run: "now" never repeats, and a stamp derived
// from a record's Timestamp moves on by a microsecond until it is unused.
class UniqueStamps {
  public:
    std::int64_t now() {
        last_now_ = std::max<std::int64_t>(now_microseconds(), last_now_ + 1);
        return last_now_;
    }

    std::int64_t unused(std::int64_t stamp) {
        while (!derived_.insert(stamp).second) {
            ++stamp;
        }
        return stamp;
    }

  private:
    std::int64_t last_now_ = 0;
    std::unordered_set<std::int64_t> derived_;
};

// nlohmann's texts start with "[json.exception.parse_error.101] "; the rest
// says what and where.
std::string reason(std::exception const& e) {
    std::string text = e.what();
    if (text.rfind("[json.exception.", 0) == 0 && text.find("] ") != std::string::npos) {
        text.erase(0, text.find("] ") + 2);
    }
    return text;
}

// As writer.write; a batch lost on the way (its commit failed) stops the
// insert, and when `input` goes on, the reader learns where it stopped.
bool write_or_say_where(RecordWriter& writer, datastore::InsertRequest& record, std::istream& input,
                        std::string const& source, std::size_t number) {
    try {
        return writer.write(record);
    } catch (std::runtime_error const& lost) {
        if (input.peek() == std::char_traits<char>::eof()) {
            throw;
        }
        throw std::runtime_error(std::string(lost.what()) + "; stopped after " + source + " line " +
                                 std::to_string(number) + ", the lines after it were not read");
    }
}

// Stores every record of `input` through `writer` and commits them; returns
// how many lines were skipped. Throws std::runtime_error when a record could
// not be stored anywhere, a commit failed or the input could not be read.
std::size_t store_records(std::istream& input, std::string const& source, RecordWriter& writer) {
    Progress progress("inserting records", 0);
    std::size_t skipped = 0;
    std::size_t number = 0;
    UniqueStamps stamps;
    std::string line;
    while (std::getline(input, line)) {
        ++number;
        if (vexa::str::stripws(line).empty()) {
            continue;
        }
        datastore::InsertRequest record;
        try {
            auto object = nlohmann::json::parse(line);
            record = record_from_json(object, stamps.now());
            if (object.contains("Timestamp") && !object.contains("Unique_timestamp")) {
                record.header.Unique_timestamp = stamps.unused(record.header.Unique_timestamp);
            }
        } catch (std::exception const& e) {
            std::cerr << "vexa-datastore: " << source << " line " << number
                      << " skipped: " << reason(e) << '\n';
            ++skipped;
            continue;
        }
        if (!write_or_say_where(writer, record, input, source, number)) {
            throw std::runtime_error(
                source + " line " + std::to_string(number) +
                ": no datastore stored the record (tried " + writer.described_targets() + ")" +
                (writer.last_error().empty() ? "" : ": " + writer.last_error()));
        }
        progress.update(writer.stored());
    }
    if (input.bad()) {
        throw std::runtime_error("cannot read " + source + " after line " + std::to_string(number));
    }
    writer.finish();
    return skipped;
}

}  // namespace

int run_insert(GlobalOptions const& global) {
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

    std::size_t const not_opened = open_datastores(global.config_file, Access::write);
    RecordWriter writer(options.datastore, options.batch);
    std::size_t skipped = 0;
    try {
        skipped = store_records(input, source, writer);
    } catch (std::runtime_error const&) {
        // What the datastores took before the failure is kept, and said.
        std::string const lost = writer.commit_open_batches();
        std::cout << writer.report() << '\n';
        if (!lost.empty()) {
            std::cerr << "vexa-datastore: " << lost << '\n';
        }
        throw;
    }
    std::cout << writer.report() << '\n';
    return skipped == 0 && not_opened == 0 ? 0 : 1;
}

}  // namespace vexa::tool
