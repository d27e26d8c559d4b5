// --format json: one array, written object by object.
#include "output_formats.h"

namespace vexa::tool {

namespace {

class JsonOutput : public RowOutput {
  public:
    JsonOutput(std::vector<std::string> const& columns, std::ostream& out)
        : objects_(columns, true), out_(out) {}

    void row(std::vector<Cell> const& cells) override {
        out_ << (first_ ? "[\n" : ",\n") << objects_.text_of(cells);
        first_ = false;
        check_written(out_);
    }

    void finish() override {
        out_ << (first_ ? "[]\n" : "\n]\n") << std::flush;
        check_written(out_);
    }

  private:
    JsonObjectWriter objects_;
    std::ostream& out_;
    bool first_ = true;
};

}  // namespace

std::unique_ptr<RowOutput> json_output(std::vector<std::string> columns, std::ostream& out) {
    return std::make_unique<JsonOutput>(columns, out);
}

}  // namespace vexa::tool
