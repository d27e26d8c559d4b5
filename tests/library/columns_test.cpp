// The table of record columns agrees with the texts and maps that list the
// columns on their own: the library's DDL, its view, its column map and the
// composed queries.
#include <datastore/columns.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <datastore/extension.h>
#include <datastore/vocabulary.h>
#include <gtest/gtest.h>
#include <util/str.h>

#include "recording_extension.h"

namespace {

namespace ds = vexa::datastore;

// The names of the columns, in the table's order.
std::vector<std::string> table_names() {
    std::vector<std::string> names;
    for (ds::Column const& column : ds::record_columns) {
        names.emplace_back(column.name);
    }
    return names;
}

bool in_table(std::string const& name) {
    for (ds::Column const& column : ds::record_columns) {
        if (vexa::str::ascii_iequals(column.name, name)) {
            return true;
        }
    }
    return false;
}

TEST(RecordColumns, NumberTheirMembersAsTheColumnMapDoes) {
    ASSERT_EQ(ds::record_columns.size(), ds::column_index_map.size());
    for (std::size_t i = 0; i < ds::record_columns.size(); ++i) {
        EXPECT_EQ(ds::record_columns[i].member, static_cast<int>(i));
        EXPECT_EQ(ds::column_index_map.at(ds::record_columns[i].name), static_cast<int>(i));
    }
}

TEST(RecordColumns, AreTheColumnsOfTheProviderTableDdl) {
    std::string columns;
    for (ds::Column const& column : ds::record_columns) {
        columns += (columns.empty() ? "" : ", ") + std::string(column.name) + " " + column.sql_type;
    }
    EXPECT_EQ(ds::default_create_table_query,
              "CREATE TABLE IF NOT EXISTS " + ds::table_name + "(" + columns + ");");
}

TEST(RecordColumns, AreTheViewsSelectListAsSqlComparesNames) {
    std::string const& view = ds::default_create_view_query;
    std::string::size_type const start = view.find(" AS SELECT ") + 11;
    std::string const list = view.substr(start, view.find(" from ") - start);
    std::vector<std::string> names;
    for (std::string const& name : vexa::str::split(list, ',', true)) {
        names.push_back(vexa::str::stripws(name));
    }
    std::vector<std::string> const expected = table_names();
    ASSERT_EQ(names.size(), expected.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_TRUE(vexa::str::ascii_iequals(names[i], expected[i])) << names[i];
    }
}

TEST(RecordColumns, NameEveryColumnTheComposedQueriesUse) {
    vexa::test::RecordingExtension extension;
    std::vector<ds::Row> rows;
    extension.get_latest_rows_provider({"p"}, rows, {"h"});
    extension.get_latest_collect_rows({"p"}, rows, {"h"});
    for (std::string const& query : extension.queries) {
        for (char const* name : {"Provider", "Hostname", "OptionID", "Unique_timestamp"}) {
            if (query.find(name) != std::string::npos) {
                EXPECT_TRUE(in_table(name)) << name;
            }
        }
    }
    EXPECT_FALSE(extension.queries.empty());
}

TEST(VisitMember, HandsEachMemberAsItsOwnType) {
    ds::Row row;
    row.Duration = 2.5;
    row.node_names = {"n1"};
    ds::visit_member(row, ds::duration_member, [](auto& value) {
        EXPECT_TRUE((std::is_same_v<std::decay_t<decltype(value)>, double>));
    });
    ds::visit_member(row, ds::unique_timestamp_member, [](auto& value) {
        EXPECT_TRUE((std::is_same_v<std::decay_t<decltype(value)>, std::int64_t>));
    });
    ds::visit_member(row, ds::encoding_member, [](auto& value) {
        EXPECT_TRUE((std::is_same_v<std::decay_t<decltype(value)>, vexa::provider::encoding>));
    });
    ds::visit_member(row, ds::node_names_member, [](auto& value) {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::vector<std::string>>) {
            value.push_back("n2");
        }
    });
    EXPECT_EQ(row.node_names, (std::vector<std::string>{"n1", "n2"}));
}

}  // namespace
