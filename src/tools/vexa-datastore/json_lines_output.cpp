// --format jsonl: one object per line, the shape `insert` reads.
#include "output_formats.h"

namespace vexa::tool {

namespace {

class JsonLinesOutput : public RowOutput {
  public:
    JsonLinesOutput(std::vector<std::string> const& columns, std::ostream& out)
        : objects_(columns, false), out_(out) {}

    void row(std::vector<Cell> const& cells) override {
        out_ << objects_.text_of(cells) << '\n';
        check_written(out_);
    }

    void finish() override {
        out_.flush();
        check_written(out_);
    }

  private:
    JsonObjectWriter objects_;
    std::ostream& out_;
};

}  // namespace

std::unique_ptr<RowOutput> json_lines_output(std::vector<std::string> columns, std::ostream& out) {
    return std::make_unique<JsonLinesOutput>(columns, out);
}

}  // namespace vexa::tool
