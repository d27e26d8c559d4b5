#include "comparisons.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include <datastore/datastore.h>

#include "datastores.h"
#include "hash_reduction.h"
#include "latest_rows.h"
#include "paired.h"
#include "plain_sqlite.h"

namespace vexa::bench {

namespace {

using datastore::DataStoreParseUtility;

bool same_row(Row const& a, Row const& b) {
    return a.rowid == b.rowid && a.Provider == b.Provider && a.Hostname == b.Hostname &&
           a.num_nodes == b.num_nodes && a.node_names == b.node_names &&
           a.Exit_status == b.Exit_status && a.Timestamp == b.Timestamp &&
           a.Duration == b.Duration && a.Encoding == b.Encoding && a.STDOUT == b.STDOUT &&
           a.STDERR == b.STDERR && a.OptionID == b.OptionID && a.version == b.version &&
           a.Username == b.Username && a.Unique_timestamp == b.Unique_timestamp &&
           a.datastore_source == b.datastore_source;
}

void require_same_rows(std::vector<Row> const& a, std::vector<Row> const& b,
                       std::string const& what) {
    require(a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), same_row),
            what + ": the library's rows differ from the baseline's");
}

// Every row is the workload row its rowid was written from, time stamps to
// the last digit: the comparison is worth nothing if the data did not round
// trip.
void require_workload_rows(WorkloadShape const& shape, std::vector<Row> const& rows,
                           std::string const& source) {
    for (Row const& row : rows) {
        require(row.rowid >= 1 && static_cast<std::size_t>(row.rowid) <= shape.rows(),
                "row id out of the workload's range");
        Row const expected =
            workload_as_row(shape, static_cast<std::size_t>(row.rowid) - 1, source);
        require(same_row(row, expected),
                "row " + std::to_string(row.rowid) + " did not round-trip through the plug-in");
    }
}

void plain_select(PlainDatabase& db, std::vector<std::string> const& providers,
                  std::string const& source, std::vector<Row>& rows) {
    PlainStatement statement(db, provider_select_sql(providers));
    statement.read_rows(source, rows);
}

double milliseconds(double seconds) { return seconds * 1e3; }

std::string rows_text(std::size_t rows) { return " (" + std::to_string(rows) + " rows)"; }

constexpr char const* indexed_name = "bench_indexed";
constexpr char const* unindexed_name = "bench_without_index";

// The library's selection of `providers` from `datastore`: its time, and
// its rows checked for count.
double library_select(SoleDatastore& datastore, std::vector<std::string> const& providers,
                      std::size_t expected) {
    std::vector<Row> rows;
    double const seconds = datastore.with(
        [&] { return seconds_of([&] { datastore::select_provider_data(providers, rows, ""); }); });
    require(rows.size() == expected, "select_provider_data returned a wrong number of rows");
    return seconds;
}

double library_latest(SoleDatastore& datastore, std::vector<std::string> const& providers,
                      std::size_t expected) {
    std::vector<Row> rows;
    double const seconds = datastore.with([&] {
        return seconds_of(
            [&] { datastore::get_latest_rows_provider_hosts_data(providers, rows, {}); });
    });
    require(rows.size() == expected,
            "get_latest_rows_provider_hosts_data returned a wrong number of rows");
    return seconds;
}

// The row ids of the latest rows of `providers` in `datastore`, sorted.
std::vector<std::int32_t> latest_rowids(SoleDatastore& datastore,
                                        std::vector<std::string> const& providers) {
    std::vector<Row> rows;
    datastore.with([&] { datastore::get_latest_rows_provider_hosts_data(providers, rows, {}); });
    std::vector<std::int32_t> ids;
    for (Row const& row : rows) {
        ids.push_back(row.rowid);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

}  // namespace

void require(bool condition, std::string const& what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

void read_plain(std::string const& file, std::vector<std::string> const& providers,
                std::string const& source, std::vector<Row>& rows) {
    PlainDatabase db(file, true);
    plain_select(db, providers, source, rows);
}

std::vector<Figure> Comparisons::reads() const {
    std::vector<Figure> figures;
    SoleDatastore indexed(indexed_name, database, false);
    SoleDatastore unindexed(unindexed_name, database_without_index, true);
    PlainDatabase plain(database, true);
    std::size_t const rows_per_provider = shape.rows() / static_cast<std::size_t>(shape.providers);
    std::size_t const pairs_per_provider = static_cast<std::size_t>(shape.hosts);

    std::vector<std::string> const all = provider_names(shape.providers);
    std::size_t const all_rows = shape.rows();

    for (int count : {5, 50}) {
        if (count > shape.providers) {
            continue;
        }
        std::vector<std::string> const providers = provider_names(count);
        std::size_t const expected = rows_per_provider * static_cast<std::size_t>(count);
        std::vector<Row> library_rows;
        std::vector<Row> baseline_rows;
        indexed.with([&] { datastore::select_provider_data(providers, library_rows, ""); });
        plain_select(plain, providers, indexed_name, baseline_rows);
        require_same_rows(library_rows, baseline_rows, "select_provider_data");
        require_workload_rows(shape, library_rows, indexed_name);

        PairedSamples const samples = measure_paired(
            repetitions, [&] { return library_select(indexed, providers, expected); },
            [&] {
                std::vector<Row> rows;
                return seconds_of([&] { plain_select(plain, providers, indexed_name, rows); });
            });
        figures.push_back(paired_figure(
            "select_provider_data, " + std::to_string(count) + " providers" + rows_text(expected),
            "ms", samples, milliseconds, Figure::Ratio::library_over_baseline,
            Figure::Goal::at_most, 1.10));
    }

    for (int count : {1, 5, 50}) {
        if (count > shape.providers) {
            continue;
        }
        double const target = count == 1 ? 5.0 : count == 5 ? 2.5 : 2.0;
        std::vector<std::string> const providers = provider_names(count);
        std::size_t const expected = pairs_per_provider * static_cast<std::size_t>(count);
        require(latest_rowids(indexed, providers) == latest_rowids(unindexed, providers),
                "the latest rows differ with and without the index");
        PairedSamples const samples = measure_paired(
            repetitions, [&] { return library_latest(indexed, providers, expected); },
            [&] { return library_latest(unindexed, providers, expected); });
        figures.push_back(paired_figure(
            "latest rows, " + std::to_string(count) + " provider(s), speed-up by the index", "ms",
            samples, milliseconds, Figure::Ratio::baseline_over_library, Figure::Goal::at_least,
            target));
    }

    PairedSamples const full = measure_paired(
        repetitions, [&] { return library_select(indexed, all, all_rows); },
        [&] { return library_select(unindexed, all, all_rows); });
    figures.push_back(paired_figure(
        "select_provider_data, all, index vs none" + rows_text(all_rows), "ms", full, milliseconds,
        Figure::Ratio::library_over_baseline, Figure::Goal::at_most, 1.05));

    datastore::ReadParameters parameters;
    parameters.providers = all;
    std::vector<Row> merged;
    indexed.with(
        [&] { datastore::execControl(datastore::OP_GET_LATEST_ROWS, parameters, merged); });
    require(!merged.empty(), "no merged rows for the latest-row reduction");
    // Both reductions consume their input, so each run gets a fresh copy,
    // made before the clock starts.
    auto const reduced_by = [&merged](auto reduction, std::vector<Row>& latest) {
        std::vector<Row> input = merged;
        return seconds_of([&] { reduction(input, latest); });
    };
    std::vector<Row> library_latest_rows;
    std::vector<Row> plain_latest;
    reduced_by(datastore::detail::keep_latest_rows, library_latest_rows);
    reduced_by(plain_latest_rows, plain_latest);
    require_same_rows(library_latest_rows, plain_latest, "latest-row reduction");
    PairedSamples const reduction = measure_paired(
        repetitions,
        [&] {
            std::vector<Row> latest;
            return reduced_by(datastore::detail::keep_latest_rows, latest);
        },
        [&] {
            std::vector<Row> latest;
            return reduced_by(plain_latest_rows, latest);
        });
    double const merged_rows = static_cast<double>(merged.size());
    figures.push_back(paired_figure(
        "latest-row reduction per merged row" + rows_text(merged.size()), "ns/row", reduction,
        [merged_rows](double seconds) { return seconds * 1e9 / merged_rows; },
        Figure::Ratio::library_over_baseline, Figure::Goal::at_most, 1.2));

    DataStoreParseUtility::clear_db_vector();
    return figures;
}

std::vector<Figure> Comparisons::inserts() const {
    std::vector<InsertRequest> requests;
    for (int i = 0; i < insert_rows; ++i) {
        requests.push_back(workload_row(shape, static_cast<std::size_t>(i)));
    }
    std::string const library_file = dir + "/insert-library.db";
    std::string const plain_file = dir + "/insert-plain.db";
    std::string const instance = "bench_insert";

    auto const library = [&] {
        remove_database(library_file);
        register_sqlite(instance, library_file, false);
        std::vector<std::string> const names{instance};
        int failures = 0;
        double const seconds = seconds_of([&] {
            for (InsertRequest& request : requests) {
                failures += datastore::execute_ioctl(names, datastore::OP_INSERT, nullptr, &request,
                                                     nullptr, nullptr) == 1
                                ? 0
                                : 1;
            }
        });
        DataStoreParseUtility::clear_db_vector();
        remove_database(library_file);
        require(failures == 0, "OP_INSERT failed");
        return seconds;
    };
    auto const baseline = [&] {
        // The plug-in lays out the file (schema, index, journal mode); then a
        // plain connection inserts with the same durability setting.
        remove_database(plain_file);
        register_sqlite(instance, plain_file, false);
        DataStoreParseUtility::clear_db_vector();
        double seconds = 0;
        {
            PlainDatabase db(plain_file, false);
            db.exec("PRAGMA synchronous = NORMAL");
            PlainStatement insert(db, plain_insert_sql());
            seconds = seconds_of([&] {
                for (InsertRequest const& request : requests) {
                    insert.insert_row(request);
                }
            });
        }
        remove_database(plain_file);
        return seconds;
    };
    PairedSamples const samples = measure_paired(repetitions, library, baseline);
    double const rows = static_cast<double>(insert_rows);
    auto const rate = [rows](double seconds) { return rows / seconds; };
    std::vector<double> library_rates;
    for (double seconds : samples.library) {
        library_rates.push_back(rate(seconds));
    }
    return {
        paired_figure("OP_INSERT via execute_ioctl, one row per call" + rows_text(requests.size()),
                      "rows/s", samples, rate, Figure::Ratio::library_over_baseline,
                      Figure::Goal::at_least, 0.8),
        absolute_figure("OP_INSERT via execute_ioctl, absolute rate", "rows/s", library_rates,
                        Figure::Goal::at_least, 50000)};
}

}  // namespace vexa::bench
