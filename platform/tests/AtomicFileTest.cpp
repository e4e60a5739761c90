#include "platform/AtomicFile.h"

#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

namespace orvane {
namespace {

namespace fs = std::filesystem;

class AtomicFileTest : public ::testing::Test {
  protected:
    int entriesInFolder() const {
        int count = 0;
        for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder_))
            ++count;
        return count;
    }

    testing::TempFolder temp_{"orvane-atomic"};
    const fs::path folder_ = temp_.path;
};

TEST_F(AtomicFileTest, writesAndReplacesWholeFilesKeepingPermissions) {
    // A write makes the file with exactly the bytes (zeros included); a second replaces it, keeps its
    // mode, and leaves no temporary beside it.
    const auto target = folder_ / "doc.ovproj";
    const std::string first{"one\0two", 7};
    ASSERT_TRUE(AtomicFile::write(target, first));
    EXPECT_EQ(AtomicFile::read(target).value(), first);

    ::chmod(target.c_str(), 0640);
    ASSERT_TRUE(AtomicFile::write(target, "second"));
    EXPECT_EQ(AtomicFile::read(target).value(), "second");
    struct stat info {};
    ASSERT_EQ(::stat(target.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u);
    EXPECT_EQ(entriesInFolder(), 1);

    ASSERT_TRUE(AtomicFile::write(target, ""));
    EXPECT_EQ(AtomicFile::read(target).value(), "");
}

TEST_F(AtomicFileTest, aFailedWriteOrReadNamesTheFileAndLeavesEverythingAsItWas) {
    // Writing into a missing folder or over a folder fails with the file's name and the reason, and
    // neither the target nor any temporary is left changed; reading a missing file or a folder fails
    // the same way, never with an empty success.
    const auto missing = AtomicFile::write(folder_ / "nope" / "doc.ovproj", "x");
    ASSERT_FALSE(missing);
    EXPECT_NE(missing.error().find("\u201Cdoc.ovproj\u201D"), std::string::npos) << missing.error();
    EXPECT_NE(missing.error().find("No such file or directory"), std::string::npos) << missing.error();

    fs::create_directory(folder_ / "taken");
    const auto overFolder = AtomicFile::write(folder_ / "taken", "x");
    ASSERT_FALSE(overFolder);
    EXPECT_TRUE(fs::is_directory(folder_ / "taken"));
    EXPECT_EQ(entriesInFolder(), 1);

    EXPECT_FALSE(AtomicFile::write({}, "x"));

    const auto gone = AtomicFile::read(folder_ / "gone.ovproj");
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.error(), "Could not read \u201Cgone.ovproj\u201D: No such file or directory.");
    EXPECT_FALSE(AtomicFile::read(folder_));
}

} // namespace
} // namespace orvane
