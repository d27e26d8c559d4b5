#include <util/fs.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "test_support.h"

namespace {

using vexa::fs::abspath;
using vexa::fs::expand_path;
using vexa::fs::selfpath;

// Runs the test inside a fresh directory and returns to the old one after.
class InTempDirectory : public ::testing::Test {
  protected:
    vexa::test::TempDir dir_;
    vexa::test::ScopedCurrentDirectory inside_{dir_.path()};
    std::string const cwd_ = std::filesystem::current_path().string();
};

std::string const kLibraryTail = "/lib/quarn64/libvexa_datastore.so";

TEST(Abspath, NormalisesAnAbsolutePathLexically) {
    EXPECT_EQ(abspath("/a/./b/../c"), "/a/c");
    EXPECT_EQ(abspath("//a///b/"), "/a/b");
    EXPECT_EQ(abspath("/opt/app/lib/quarn64/../../"), "/opt/app");
}

TEST(Abspath, KeepsTheRootAsASingleSlash) {
    EXPECT_EQ(abspath("/"), "/");
    EXPECT_EQ(abspath("///"), "/");
    EXPECT_EQ(abspath("/.."), "/");
    EXPECT_EQ(abspath("/a/../../b"), "/b");
}

TEST(Abspath, DoesNotNeedThePathToExist) {
    EXPECT_EQ(abspath("/no/such/dir/../file.db"), "/no/such/file.db");
}

TEST(Abspath, DoesNotResolveSymbolicLinks) {
    vexa::test::TempDir dir;
    std::filesystem::create_directory(dir.file("target"));
    std::filesystem::create_directory_symlink(dir.file("target"), dir.file("link"));
    EXPECT_EQ(abspath(dir.file("link") + "/../x"), dir.path() + "/x");
}

TEST_F(InTempDirectory, ResolvesARelativePathAgainstTheCurrentDirectory) {
    EXPECT_EQ(abspath("a/../b/"), cwd_ + "/b");
    EXPECT_EQ(abspath("x.db"), cwd_ + "/x.db");
    EXPECT_EQ(abspath("./x/./y"), cwd_ + "/x/y");
}

TEST_F(InTempDirectory, GivesTheCurrentDirectoryForAnEmptyOrDotPath) {
    EXPECT_EQ(abspath(""), cwd_);
    EXPECT_EQ(abspath("."), cwd_);
    EXPECT_EQ(abspath(".."), std::filesystem::path(cwd_).parent_path().string());
}

TEST(Selfpath, IsTheLibraryFileOfTheBuildTree) {
    std::string const path = selfpath();
    ASSERT_GE(path.size(), kLibraryTail.size());
    EXPECT_EQ(path.substr(path.size() - kLibraryTail.size()), kLibraryTail);
    EXPECT_TRUE(vexa::test::exists(path)) << path;
    EXPECT_EQ(path, vexa::test::real_path(VEXA_BUILD_ROOT) + kLibraryTail);
}

TEST(Selfpath, IsAbsoluteAndAlreadyResolved) {
    std::string const path = selfpath();
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path[0], '/');
    EXPECT_EQ(path, vexa::test::real_path(path));
}

TEST_F(InTempDirectory, SelfpathDoesNotDependOnTheCurrentDirectory) {
    EXPECT_EQ(selfpath(), vexa::test::real_path(VEXA_BUILD_ROOT) + kLibraryTail);
}

TEST(ExpandPath, ReplacesVariablesAndALeadingTildeOnly) {
    vexa::test::ScopedEnv const home("HOME", "/home/u");
    vexa::test::ScopedEnv const name("VEXA_EXPAND_NAME", "my db");
    EXPECT_EQ(expand_path("~/x/$VEXA_EXPAND_NAME.db"), "/home/u/x/my db.db");
    EXPECT_EQ(expand_path("${VEXA_EXPAND_NAME}*?"), "my db*?");
    EXPECT_EQ(expand_path("a~/$1/$"), "a~/$1/$");
}

TEST(ExpandPath, RefusesAnUnsetVariable) {
    vexa::test::ScopedEnv const unset("VEXA_EXPAND_UNSET", std::nullopt);
    EXPECT_THROW(expand_path("/$VEXA_EXPAND_UNSET/x"), std::runtime_error);
}

}  // namespace
