// --format json, one array written object by object, and --format jsonl,
// one object per line: the shape `insert` reads.
#include "output/output_formats.h"

namespace vexa::tool {

namespace {

class JsonOutput : public RowOutput {
  public:
    JsonOutput(std::vector<std::string> const& columns, bool in_array, std::ostream& out)
        : objects_(columns, in_array), in_array_(in_array), out_(out) {}

    void row(std::vector<Cell> const& cells) override {
        if (in_array_) {
            out_ << (first_ ? "[\n" : ",\n") << objects_.text_of(cells);
        } else {
            out_ << objects_.text_of(cells) << '\n';
        }
        first_ = false;
        check_written(out_);
    }

    void finish() override {
        if (in_array_) {
            out_ << (first_ ? "[]\n" : "\n]\n");
        }
        out_.flush();
        check_written(out_);
    }

  private:
    JsonObjectWriter objects_;
    bool in_array_;
    std::ostream& out_;
    bool first_ = true;
};

}  // namespace

std::unique_ptr<RowOutput> json_output(std::vector<std::string> columns, std::ostream& out) {
    return std::make_unique<JsonOutput>(columns, true, out);
}

std::unique_ptr<RowOutput> json_lines_output(std::vector<std::string> columns, std::ostream& out) {
    return std::make_unique<JsonOutput>(columns, false, out);
}

}  // namespace vexa::tool
