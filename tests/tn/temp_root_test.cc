#include "temp_root.h"

#include <gtest/gtest.h>

namespace tn {
namespace {

namespace fs = std::filesystem;

TEST(TempRootTest, WithoutOneNothingOfThePlatformCanBeMade) {
    EXPECT_FALSE(makeFolder(rooted("/tern/store"), 0700)) << root();
    const TempRoot temporary;
    EXPECT_TRUE(makeFolder(rooted("/tern/store"), 0700));
}

TEST(TempRootTest, RemovesNothingThatLiesElsewhere) {
    const TempTree tree;
    const TempTree other;
    other.write("kept", "");
    tree.write("folder/file", "");
    fs::create_directory_symlink(other.path(), tree.path("folder/link"));
    const std::string name = fs::path(other.path()).filename();
    // Only temporary folders, in case the guard fails.
    for (const std::string& elsewhere :
         {"../" + name, "folder/../../" + name + "/kept", std::string("folder/link"), std::string("folder/link/kept")})
        EXPECT_DEATH(tree.remove(elsewhere), "") << elsewhere;
    tree.remove("folder");  // removes the link in it, not its target
    EXPECT_FALSE(fs::exists(tree.path("folder")));
    EXPECT_TRUE(fs::exists(other.path("kept")));
    tree.remove();
    EXPECT_FALSE(fs::exists(tree.path()));
}

}  // namespace
}  // namespace tn
