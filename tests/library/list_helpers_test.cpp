#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

namespace {

using Strings = std::vector<std::string>;

TEST(InItem, FindsAnExactlyEqualElement) {
    EXPECT_TRUE(in(Strings{"a", "b", "c"}, std::string("c")));
    EXPECT_FALSE(in(Strings{"a", "b", "c"}, std::string("d")));
}

TEST(InItem, ComparesCaseSensitivelyWithoutTrimming) {
    EXPECT_FALSE(in(Strings{"A"}, std::string("a")));
    EXPECT_FALSE(in(Strings{"a"}, std::string(" a")));
    EXPECT_FALSE(in(Strings{"ab"}, std::string("a")));
}

TEST(InItem, NothingIsInAnEmptySet) {
    EXPECT_FALSE(in(Strings{}, std::string("")));
    EXPECT_FALSE(in(Strings{}, std::string("a")));
}

TEST(InItems, TrueWhenEveryItemIsInTheSet) {
    EXPECT_TRUE(in(Strings{"a", "b", "c"}, Strings{"c", "a"}));
    EXPECT_FALSE(in(Strings{"a", "b", "c"}, Strings{"a", "x", "b"}));
}

TEST(InItems, EmptyItemsAreAlwaysIn) {
    EXPECT_TRUE(in(Strings{}, Strings{}));
    EXPECT_TRUE(in(Strings{"a"}, Strings{}));
}

TEST(Prune, DropsRemovedElementsKeepingOrderAndDuplicates) {
    EXPECT_EQ((Strings{"b", "c"}), prune({"a", "b", "a", "c"}, {"a"}));
    EXPECT_EQ((Strings{"c", "b", "c"}), prune({"c", "a", "b", "c", "d"}, {"d", "a"}));
}

TEST(Prune, NothingToRemoveGivesACopy) {
    Strings const from = {"x", "y", "x"};
    EXPECT_EQ(from, prune(from, {}));
    EXPECT_EQ(from, prune(from, {"X", "z"}));
}

TEST(Prune, EverythingRemovedGivesAnEmptyList) {
    EXPECT_TRUE(prune({"a", "a"}, {"a"}).empty());
    EXPECT_TRUE(prune({}, {"a"}).empty());
}

}  // namespace
