// --format csv: RFC 4180, record by record.
#include "output/output_formats.h"

namespace vexa::tool {

namespace {

std::string csv_field(std::string const& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (char c : text) {
        quoted += c;
        if (c == '"') {
            quoted += '"';
        }
    }
    return quoted + "\"";
}

class CsvOutput : public RowOutput {
  public:
    CsvOutput(std::vector<std::string> const& columns, std::ostream& out) : out_(out) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            out_ << (i ? "," : "") << csv_field(columns[i]);
        }
        out_ << "\r\n";
    }

    void row(std::vector<Cell> const& cells) override {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out_ << (i ? "," : "") << csv_field(cell_text(cells[i]));
        }
        out_ << "\r\n";
        check_written(out_);
    }

    void finish() override {
        out_.flush();
        check_written(out_);
    }

  private:
    std::ostream& out_;
};

}  // namespace

std::unique_ptr<RowOutput> csv_output(std::vector<std::string> columns, std::ostream& out) {
    return std::make_unique<CsvOutput>(columns, out);
}

}  // namespace vexa::tool
