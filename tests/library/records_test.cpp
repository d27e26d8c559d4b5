#include <datastore/records.h>

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/vocabulary.h>

namespace {

namespace ds = vexa::datastore;
using ds::Row;

static_assert(std::is_same_v<decltype(Row::rowid), std::int32_t> &&
                  std::is_same_v<decltype(Row::num_nodes), std::int32_t> &&
                  std::is_same_v<decltype(Row::Exit_status), std::int32_t> &&
                  std::is_same_v<decltype(Row::Timestamp), std::int64_t> &&
                  std::is_same_v<decltype(Row::Duration), double> &&
                  std::is_same_v<decltype(Row::version), std::int32_t> &&
                  std::is_same_v<decltype(Row::Unique_timestamp), std::int64_t>,
              "the numeric members of a row have fixed widths");

Row sample_row() {
    Row row;
    row.rowid = 7;
    row.Provider = "uname";
    row.Hostname = "node01";
    row.num_nodes = 2;
    row.node_names = {"node01", "node02"};
    row.Exit_status = 1;
    row.Timestamp = -5;
    row.Duration = 0.25;
    row.Encoding = vexa::provider::base64;
    row.STDOUT = "b3V0";
    row.STDERR = "ZXJy";
    row.OptionID = "default";
    row.version = 3;
    row.Username = "tester";
    row.Unique_timestamp = 1600000000123456789;
    row.datastore_source = "local";
    return row;
}

void expect_sample(Row const& row) {
    EXPECT_EQ(row.rowid, 7);
    EXPECT_EQ(row.Provider, "uname");
    EXPECT_EQ(row.Hostname, "node01");
    EXPECT_EQ(row.num_nodes, 2);
    EXPECT_EQ(row.node_names, (std::vector<std::string>{"node01", "node02"}));
    EXPECT_EQ(row.Exit_status, 1);
    EXPECT_EQ(row.Timestamp, -5);
    EXPECT_EQ(row.Duration, 0.25);
    EXPECT_EQ(row.Encoding, vexa::provider::base64);
    EXPECT_EQ(row.STDOUT, "b3V0");
    EXPECT_EQ(row.STDERR, "ZXJy");
    EXPECT_EQ(row.OptionID, "default");
    EXPECT_EQ(row.version, 3);
    EXPECT_EQ(row.Username, "tester");
    EXPECT_EQ(row.Unique_timestamp, 1600000000123456789);
    EXPECT_EQ(row.datastore_source, "local");
}

void expect_strings_empty(Row const& row) {
    EXPECT_TRUE(row.Provider.empty());
    EXPECT_TRUE(row.Hostname.empty());
    EXPECT_TRUE(row.node_names.empty());
    EXPECT_TRUE(row.STDOUT.empty());
    EXPECT_TRUE(row.STDERR.empty());
    EXPECT_TRUE(row.OptionID.empty());
    EXPECT_TRUE(row.Username.empty());
    EXPECT_TRUE(row.datastore_source.empty());
}

TEST(Row, DefaultConstructsToZerosAndEmptyTexts) {
    Row const row;
    EXPECT_EQ(row.rowid, 0);
    EXPECT_EQ(row.num_nodes, 0);
    EXPECT_EQ(row.Exit_status, 0);
    EXPECT_EQ(row.Timestamp, 0);
    EXPECT_EQ(row.Duration, 0.0);
    EXPECT_EQ(row.Encoding, vexa::provider::none);
    EXPECT_EQ(row.version, 0);
    EXPECT_EQ(row.Unique_timestamp, 0);
    expect_strings_empty(row);
}

TEST(Row, CopyHasEveryMember) {
    Row const source = sample_row();
    Row const copy(source);
    expect_sample(copy);
}

TEST(Row, ChangingACopyLeavesTheSourceUnchanged) {
    Row const source = sample_row();
    Row copy(source);
    copy.node_names[0] = "changed";
    copy.node_names.push_back("node03");
    copy.Provider += "x";
    copy.Hostname.clear();
    copy.STDOUT[0] = 'Z';
    copy.STDERR = "other";
    copy.OptionID = "o";
    copy.Username = "u";
    copy.datastore_source = "elsewhere";
    expect_sample(source);
}

TEST(Row, CopyAssignmentIsDeep) {
    Row const source = sample_row();
    Row target;
    target = source;
    target.node_names.clear();
    target.Provider = "changed";
    expect_sample(source);
}

TEST(Row, MoveConstructionTakesEveryMemberAndLeavesEmptyTexts) {
    Row source = sample_row();
    Row const target(std::move(source));
    expect_sample(target);
    expect_strings_empty(source);
    source.Provider = "reused";
    source.node_names.push_back("n");
    EXPECT_EQ(source.Provider, "reused");
    EXPECT_EQ(source.node_names.size(), 1u);
}

TEST(Row, MoveAssignmentTakesEveryMemberAndLeavesEmptyTexts) {
    Row source = sample_row();
    Row target;
    target.Provider = "a longer text than fits in a small string buffer";
    target.node_names = {"x", "y", "z"};
    target = std::move(source);
    expect_sample(target);
    expect_strings_empty(source);
}

TEST(Row, VectorsOfRowsGrowByCopyAndMove) {
    std::vector<Row> rows;
    Row const row = sample_row();
    rows.push_back(row);
    rows.push_back(sample_row());
    std::vector<Row> more(2, row);
    rows.insert(rows.end(), std::make_move_iterator(more.begin()),
                std::make_move_iterator(more.end()));
    ASSERT_EQ(rows.size(), 4u);
    for (Row const& each : rows) {
        expect_sample(each);
    }
    expect_strings_empty(more[0]);
}

TEST(ReadParameters, StartsWithoutFiltersOrSqlParameters) {
    ds::ReadParameters const parameters;
    EXPECT_TRUE(parameters.providers.empty());
    EXPECT_TRUE(parameters.hostnames.empty());
    EXPECT_EQ(parameters.sql, nullptr);
}

TEST(ReadParameters, DestructionLeavesThePointedSqlParametersIntact) {
    ds::SQLParameters sql;
    sql.filter = "Exit_status = 0";
    sql.query = "SELECT 1;";
    {
        ds::ReadParameters parameters;
        parameters.providers = {"uname", "cpu"};
        parameters.hostnames = {"node01"};
        parameters.sql = &sql;
        parameters.sql->fields["extra"] = 99;
    }
    EXPECT_EQ(sql.filter, "Exit_status = 0");
    EXPECT_EQ(sql.query, "SELECT 1;");
    EXPECT_EQ(sql.fields.size(), ds::column_index_map.size() + 1);
    EXPECT_EQ(sql.fields.at("extra"), 99);
    EXPECT_EQ(sql.fields.at("Provider"), 1);
}

TEST(SQLParameters, FreshOneHoldsTheDefaultColumnMapAndEmptyTexts) {
    ds::SQLParameters const sql;
    EXPECT_EQ(sql.filter, "");
    EXPECT_EQ(sql.query, "");
    EXPECT_EQ(sql.fields, ds::column_index_map);
    EXPECT_EQ(sql.fields.size(), 15u);
}

TEST(SQLParameters, FieldsAreACopyNotTheSharedMap) {
    ds::SQLParameters sql;
    sql.fields.erase("rowid");
    sql.fields["Provider"] = 42;
    EXPECT_EQ(ds::column_index_map.size(), 15u);
    EXPECT_EQ(ds::column_index_map.at("Provider"), 1);
    EXPECT_EQ(ds::SQLParameters().fields, ds::column_index_map);
}

TEST(SQLParameters, AssigningAnotherMapReplacesItWhole) {
    ds::SQLParameters sql;
    std::map<std::string, int> const other = {{"Hostname", 0}, {"count", 1}};
    sql.fields = other;
    EXPECT_EQ(sql.fields, other);
    EXPECT_EQ(sql.fields.count("Provider"), 0u);
}

TEST(Limits, HaveTheirPublishedValues) {
    EXPECT_EQ(ds::default_backend, 0);
    EXPECT_EQ(ds::default_backend, ds::sqlite3);
    EXPECT_EQ(ds::max_provider_size, 64);
    EXPECT_EQ(ds::max_hostname_size, 256);
    EXPECT_EQ(ds::max_num_nodes, 262144);
    EXPECT_EQ(ds::max_node_names_size, 67633152);
    EXPECT_EQ(ds::max_std_stream_size, 1073741824);
    EXPECT_EQ(ds::max_option_id_size, 64);
    EXPECT_EQ(ds::max_username_size, 64);
}

TEST(Limits, NodeNamesLeaveRoomForAFullHostnameAndSeparatorPerNode) {
    EXPECT_EQ(ds::max_node_names_size, ds::max_num_nodes * (ds::max_hostname_size + 2));
}

TEST(Limits, AreThirtyTwoBitSignedIntegers) {
    static_assert(std::is_same_v<decltype(ds::max_std_stream_size), std::int32_t const>);
    static_assert(std::is_same_v<decltype(ds::max_node_names_size), std::int32_t const>);
    EXPECT_EQ(ds::max_std_stream_size, std::int32_t{1} << 30);
}

TEST(ProviderHeader, DefaultConstructsToZerosAndEmptyTexts) {
    vexa::provider::header const header;
    EXPECT_EQ(header.Provider, "");
    EXPECT_EQ(header.Hostname, "");
    EXPECT_EQ(header.num_nodes, 0);
    EXPECT_TRUE(header.node_names.empty());
    EXPECT_EQ(header.Exit_status, 0);
    EXPECT_EQ(header.Timestamp, 0);
    EXPECT_EQ(header.Duration, 0.0);
    EXPECT_EQ(header.Encoding, vexa::provider::none);
    EXPECT_EQ(header.version, 0);
    EXPECT_EQ(header.Username, "");
    EXPECT_EQ(header.Unique_timestamp, 0);
}

}  // namespace
