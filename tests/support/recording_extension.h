// An in-process extension for the suites of the extension base class: it
// records every query text that reaches select() and answers with canned
// rows, so the dispatch and the composed SQL can be observed without a
// database.
#ifndef VEXA_TESTS_SUPPORT_RECORDING_EXTENSION_H_
#define VEXA_TESTS_SUPPORT_RECORDING_EXTENSION_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <datastore/extension.h>

namespace vexa::test {

// A row that tells itself apart from others by its provider name.
inline datastore::Row row_of(std::string provider) {
    datastore::Row row;
    row.Provider = std::move(provider);
    return row;
}

class RecordingExtension : public datastore::interface {
  public:
    // What select() was handed, one entry per call.
    std::vector<std::string> queries;
    std::vector<std::map<std::string, int>> field_maps;

    // How select() answers: first runs `before_select` (a test may throw
    // from it), then appends `canned_rows` and returns `select_result`.
    std::function<void()> before_select;
    std::vector<datastore::Row> canned_rows;
    bool select_result = true;

    bool ready = true;
    int readiness_checks = 0;

    void set_hosts_query(std::string query) { hosts_query = std::move(query); }

    bool is_ready() override {
        ++readiness_checks;
        return ready;
    }
    int open_instance(std::string const& /*source_parameters*/) override { return 0; }
    std::string describe() const override { return "recording extension"; }

    bool select(std::string query, std::vector<datastore::Row>& out,
                std::map<std::string, int> const& fields) override {
        queries.push_back(query);
        field_maps.push_back(fields);
        if (before_select) {
            before_select();
        }
        out.insert(out.end(), canned_rows.begin(), canned_rows.end());
        return select_result;
    }
};

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_RECORDING_EXTENSION_H_
