// --format json: one array, written object by object.
#include "output_formats.h"

namespace vexa::tool {

namespace {

class JsonOutput : public RowOutput {
  public:
    JsonOutput(std::vector<std::string> columns, std::ostream& out)
        : columns_(std::move(columns)), out_(out) {}

    void row(std::vector<Cell> const& cells) override {
        // Each object indented one level inside the array.
        std::string text = json_object_text(columns_, cells, 2);
        std::string indented = "  ";
        for (char c : text) {
            indented += c;
            if (c == '\n') {
                indented += "  ";
            }
        }
        out_ << (first_ ? "[\n" : ",\n") << indented;
        first_ = false;
        check_written(out_);
    }

    void finish() override {
        out_ << (first_ ? "[]\n" : "\n]\n") << std::flush;
        check_written(out_);
    }

  private:
    std::vector<std::string> columns_;
    std::ostream& out_;
    bool first_ = true;
};

}  // namespace

std::unique_ptr<RowOutput> json_output(std::vector<std::string> columns, std::ostream& out) {
    return std::make_unique<JsonOutput>(std::move(columns), out);
}

}  // namespace vexa::tool
