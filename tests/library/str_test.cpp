#include <util/str.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "test_support.h"

namespace {

using Pieces = std::vector<std::string>;
using vexa::str::ascii_iequals;
using vexa::str::ascii_lower;
using vexa::str::dirname;
using vexa::str::split;
using vexa::str::squeeze;
using vexa::str::stripws;
using vexa::str::wordexp;

TEST(Split, ReturnsThePiecesBetweenSeparatorsInOrder) {
    EXPECT_EQ(split("source=/a.db|read_only=true", '|', true),
              (Pieces{"source=/a.db", "read_only=true"}));
    EXPECT_EQ(split("a,b,c", ',', false), (Pieces{"a", "b", "c"}));
}

TEST(Split, ATextWithoutSeparatorIsOnePiece) {
    EXPECT_EQ(split("abc", '|', true), (Pieces{"abc"}));
    EXPECT_EQ(split("abc", '|', false), (Pieces{"abc"}));
}

TEST(Split, KeepsEmptyPiecesWhenTheFlagIsTrue) {
    EXPECT_EQ(split("a||b", '|', true), (Pieces{"a", "", "b"}));
    EXPECT_EQ(split("|a|", '|', true), (Pieces{"", "a", ""}));
    EXPECT_EQ(split("", '|', true), (Pieces{""}));
    EXPECT_EQ(split("|", '|', true), (Pieces{"", ""}));
}

TEST(Split, DropsEmptyPiecesWhenTheFlagIsFalse) {
    EXPECT_EQ(split("a||b", '|', false), (Pieces{"a", "b"}));
    EXPECT_EQ(split("|a|", '|', false), (Pieces{"a"}));
    EXPECT_EQ(split("", '|', false), Pieces{});
    EXPECT_EQ(split("|||", '|', false), Pieces{});
}

TEST(Split, SplitsAtEverySeparatorSoAValueMayNotContainIt) {
    EXPECT_EQ(split("source=a=b", '=', true), (Pieces{"source", "a", "b"}));
}

TEST(Split, KeepsBlanksInsidePieces) {
    EXPECT_EQ(split(" a | b ", '|', false), (Pieces{" a ", " b "}));
}

TEST(Stripws, RemovesLeadingAndTrailingWhiteSpaceOnly) {
    EXPECT_EQ(stripws("  a b \n"), "a b");
    EXPECT_EQ(stripws("\t\r\n\v\f x\ty \t\r\n\v\f"), "x\ty");
    EXPECT_EQ(stripws("ab"), "ab");
}

TEST(Stripws, AllWhiteSpaceOrNothingGivesAnEmptyText) {
    EXPECT_EQ(stripws(""), "");
    EXPECT_EQ(stripws(" \t\n "), "");
}

TEST(Squeeze, ReducesEveryRunOfTheCharacterToOne) {
    EXPECT_EQ(squeeze("a//b///c", '/'), "a/b/c");
    EXPECT_EQ(squeeze("//opt//app//", '/'), "/opt/app/");
}

TEST(Squeeze, LeavesOtherCharactersAndSingleOccurrencesAlone) {
    EXPECT_EQ(squeeze("aa/bb/cc", '/'), "aa/bb/cc");
    EXPECT_EQ(squeeze("x..y", '/'), "x..y");
    EXPECT_EQ(squeeze("", '/'), "");
}

TEST(Dirname, IsEverythingBeforeTheLastSlash) {
    EXPECT_EQ(dirname("/a/b/c.so"), "/a/b");
    EXPECT_EQ(dirname("a/b"), "a");
    EXPECT_EQ(dirname("/a/b/"), "/a/b");
}

TEST(Dirname, OfAFileInTheRootIsTheRoot) { EXPECT_EQ(dirname("/x"), "/"); }

TEST(Dirname, OfANameWithoutSlashIsTheCurrentDirectory) {
    EXPECT_EQ(dirname("libsqlite.so"), ".");
    EXPECT_EQ(dirname(""), ".");
}

TEST(Wordexp, ExpandsEnvironmentVariables) {
    vexa::test::ScopedEnv home("HOME", std::string("/home/tester"));
    vexa::test::ScopedEnv other("VEXA_STR_TEST_DIR", std::string("data"));
    EXPECT_EQ(wordexp("$HOME/.vexa/2021.4.0/vexa.db"), "/home/tester/.vexa/2021.4.0/vexa.db");
    EXPECT_EQ(wordexp("${HOME}/${VEXA_STR_TEST_DIR}"), "/home/tester/data");
}

TEST(Wordexp, ExpandsALeadingTilde) {
    vexa::test::ScopedEnv home("HOME", std::string("/home/tester"));
    EXPECT_EQ(wordexp("~/x.db"), "/home/tester/x.db");
}

TEST(Wordexp, LeavesAPlainTextAsItIs) {
    EXPECT_EQ(wordexp("/var/lib/vexa.db"), "/var/lib/vexa.db");
}

TEST(Wordexp, KeepsBlanksSoAPathWithABlankStaysOnePath) {
    vexa::test::ScopedEnv home("HOME", std::string("/home/my home"));
    vexa::test::ScopedEnv words("VEXA_STR_TEST_WORDS", std::string("first second"));
    EXPECT_EQ(wordexp("one two"), "one two");
    EXPECT_EQ(wordexp("/opt/my tools/datastore"), "/opt/my tools/datastore");
    EXPECT_EQ(wordexp("$VEXA_STR_TEST_WORDS"), "first second");
    EXPECT_EQ(wordexp("~/a  b"), "/home/my home/a  b");
}

TEST(Wordexp, KeepsQuotesAndPatternCharactersAsWritten) {
    EXPECT_EQ(wordexp("\"a b\" c"), "\"a b\" c");
    EXPECT_EQ(wordexp("/opt/*/lib?/[ab]"), "/opt/*/lib?/[ab]");
}

TEST(Wordexp, OfAnEmptyTextGivesAnEmptyText) { EXPECT_EQ(wordexp(""), ""); }

TEST(Wordexp, ExpandsAnUnsetOrEmptyVariableToNothingAsAShellDoes) {
    vexa::test::ScopedEnv unset("VEXA_STR_TEST_UNSET", std::nullopt);
    vexa::test::ScopedEnv empty("VEXA_STR_TEST_EMPTY", std::string());
    EXPECT_EQ(wordexp("$VEXA_STR_TEST_UNSET"), "");
    EXPECT_EQ(wordexp("/a/${VEXA_STR_TEST_EMPTY}/b"), "/a//b");
}

TEST(Wordexp, NeverRunsACommandAndReturnsSuchATextUnchanged) {
    vexa::test::TempDir dir;
    std::string const marker = dir.file("ran");
    std::string const dollar = "$(touch " + marker + ")";
    std::string const backquote = "`touch " + marker + "`";
    EXPECT_EQ(wordexp(dollar), dollar);
    EXPECT_EQ(wordexp(backquote), backquote);
    EXPECT_FALSE(vexa::test::exists(marker));
}

TEST(Wordexp, ReturnsATextThatCannotBeExpandedUnchanged) {
    EXPECT_EQ(wordexp("a|b"), "a|b");
    EXPECT_EQ(wordexp("x;y"), "x;y");
    EXPECT_EQ(wordexp("\"unterminated"), "\"unterminated");
}

TEST(AsciiLower, LowersAsciiLettersOnly) {
    EXPECT_EQ(ascii_lower("Unique_TimeStamp 42"), "unique_timestamp 42");
    EXPECT_EQ(ascii_lower("\xC3\x89t\xC3\xA9"), "\xC3\x89t\xC3\xA9");
}

TEST(AsciiIequals, IgnoresTheCaseOfAsciiLettersOnly) {
    EXPECT_TRUE(ascii_iequals("Version", "version"));
    EXPECT_TRUE(ascii_iequals("", ""));
    EXPECT_FALSE(ascii_iequals("Version", "versions"));
    EXPECT_FALSE(ascii_iequals("\xC3\x89", "\xC3\xA9"));
}

}  // namespace
