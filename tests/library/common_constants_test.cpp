#include <util/common_constants.h>

#include <string>

#include <gtest/gtest.h>

#include <util/fs.h>
#include <util/str.h>

#include "test_support.h"

namespace {

using vexa::util::CommonConstants;

TEST(InstallRoot, EndsInTwoParentSteps) {
    std::string const root = CommonConstants::INSTALL_ROOT();
    std::string const tail = "/../../";
    ASSERT_GE(root.size(), tail.size());
    EXPECT_EQ(root.substr(root.size() - tail.size()), tail);
}

TEST(InstallRoot, IsTheLibraryDirectoryFollowedByTwoParentStepsNotNormalised) {
    EXPECT_EQ(CommonConstants::INSTALL_ROOT(),
              vexa::test::real_path(VEXA_BUILD_ROOT) + "/lib/quarn64/../../");
}

TEST(InstallRoot, IsComposedFromTheLibraryPath) {
    EXPECT_EQ(CommonConstants::INSTALL_ROOT(),
              vexa::fs::abspath(vexa::str::dirname(vexa::fs::selfpath())) + "/../../");
}

TEST(InstallRoot, ResolvesToTheBuildTreeRoot) {
    EXPECT_EQ(vexa::test::real_path(CommonConstants::INSTALL_ROOT()),
              vexa::test::real_path(VEXA_BUILD_ROOT));
}

TEST(InstallRoot, TakesFurtherPartsAppendedToIt) {
    std::string const root = CommonConstants::INSTALL_ROOT();
    EXPECT_TRUE(vexa::test::exists(root + "etc/datastore/default_sqlite.xml")) << root;
    EXPECT_TRUE(vexa::test::exists(root + "lib/quarn64/libvexa_datastore.so")) << root;
}

TEST(InstallRoot, DoesNotDependOnTheCurrentDirectory) {
    std::string const before = CommonConstants::INSTALL_ROOT();
    vexa::test::TempDir dir;
    vexa::test::ScopedCurrentDirectory inside(dir.path());
    EXPECT_EQ(CommonConstants::INSTALL_ROOT(), before);
}

}  // namespace
