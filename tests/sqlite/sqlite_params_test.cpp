#include <string>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

namespace {

// What parse_sqlite_params made of a text, starting from given defaults.
struct Parsed {
    bool result;
    std::string source;
    bool read_only;
};

Parsed parse(std::string const& params, std::string source = "default.db", bool read_only = false) {
    bool const result = parse_sqlite_params(params, source, read_only);
    return {result, source, read_only};
}

TEST(ParseSqliteParams, ReadsSourceAndReadOnly) {
    Parsed const parsed = parse("source=/tmp/a.db|read_only=true");
    EXPECT_TRUE(parsed.result);
    EXPECT_EQ("/tmp/a.db", parsed.source);
    EXPECT_TRUE(parsed.read_only);
}

TEST(ParseSqliteParams, ReadOnlyIsTrueOnlyForLowerCaseTrue) {
    EXPECT_FALSE(parse("read_only=TRUE", "default.db", true).read_only);
    EXPECT_FALSE(parse("read_only=yes", "default.db", true).read_only);
    EXPECT_FALSE(parse("read_only=false", "default.db", true).read_only);
    EXPECT_FALSE(parse("read_only=", "default.db", true).read_only);
    EXPECT_TRUE(parse("read_only=true").read_only);
}

TEST(ParseSqliteParams, PartWithoutEqualsSignFailsKeepingEarlierSettings) {
    Parsed const parsed = parse("source=/tmp/a.db|junk|read_only=true");
    EXPECT_FALSE(parsed.result);
    EXPECT_EQ("/tmp/a.db", parsed.source);
    EXPECT_FALSE(parsed.read_only);
}

TEST(ParseSqliteParams, TrimsKeysAndValues) {
    Parsed const parsed = parse(" source = /tmp/a.db | read_only =\ttrue ");
    EXPECT_TRUE(parsed.result);
    EXPECT_EQ("/tmp/a.db", parsed.source);
    EXPECT_TRUE(parsed.read_only);
}

TEST(ParseSqliteParams, ValueContainingEqualsSignFails) {
    Parsed const parsed = parse("source=/tmp/a=b.db");
    EXPECT_FALSE(parsed.result);
    EXPECT_EQ("default.db", parsed.source);
}

TEST(ParseSqliteParams, AbsentKeysKeepTheCallersValues) {
    Parsed const parsed = parse("read_only=false", "$HOME/keep.db", true);
    EXPECT_TRUE(parsed.result);
    EXPECT_EQ("$HOME/keep.db", parsed.source);
    EXPECT_FALSE(parsed.read_only);

    EXPECT_TRUE(parse("source=/tmp/a.db", "default.db", true).read_only);
}

TEST(ParseSqliteParams, UnknownAndMiscapitalisedKeysAreIgnored) {
    Parsed const parsed = parse("Source=/tmp/a.db|mode=wal|READ_ONLY=true");
    EXPECT_TRUE(parsed.result);
    EXPECT_EQ("default.db", parsed.source);
    EXPECT_FALSE(parsed.read_only);
}

TEST(ParseSqliteParams, EmptyPartsAreNotKeyValuePairs) {
    EXPECT_FALSE(parse("").result);

    Parsed const parsed = parse("source=/tmp/a.db||read_only=true");
    EXPECT_FALSE(parsed.result);
    EXPECT_EQ("/tmp/a.db", parsed.source);
    EXPECT_FALSE(parsed.read_only);
}

TEST(ParseSqliteParams, RemovesOnePairOfEnclosingDoubleQuotesFromTheSourceOnly) {
    Parsed const parsed = parse("read_only=false|source=\"$HOME/x.db\"", "default.db", true);
    EXPECT_TRUE(parsed.result);
    EXPECT_EQ("$HOME/x.db", parsed.source);
    EXPECT_FALSE(parsed.read_only);

    // read_only is true for the exact text true alone, quoted it is not.
    EXPECT_FALSE(parse("read_only=\"true\"", "default.db", true).read_only);
}

TEST(ParseSqliteParams, UnquotesAfterTrimmingAndKeepsBlanksInsideTheQuotes) {
    EXPECT_EQ("/tmp/a b.db", parse("source = \"/tmp/a b.db\" ").source);
    EXPECT_EQ(" /tmp/a.db ", parse("source=\" /tmp/a.db \"").source);
}

TEST(ParseSqliteParams, LeavesOtherQuotesAlone) {
    EXPECT_EQ("\"/x.db\"", parse("source=\"\"/x.db\"\"").source);
    EXPECT_EQ("\"/x.db", parse("source=\"/x.db").source);
    EXPECT_EQ("/x.db\"", parse("source=/x.db\"").source);
    EXPECT_EQ("\"", parse("source=\"").source);
    EXPECT_EQ("", parse("source=\"\"").source);
}

}  // namespace
