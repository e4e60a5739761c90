#include "delivery/FilesetChecksum.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace orvane {
namespace {

namespace fs = std::filesystem;

TEST(FilesetChecksum, listsThePresentFilesInFilesetOrderAndSkipsTheRest) {
    // Files are listed in the set's order with extras last; absent names and unlisted files are
    // left out, and checksum.md5 does not list itself.
    const fs::path folder = fs::temp_directory_path() / ("orvane-checksum-" + std::to_string(::getpid()));
    fs::remove_all(folder);
    fs::create_directories(folder);
    auto put = [&](const std::string& name, const std::string& bytes) {
        std::ofstream(folder / name, std::ios::binary) << bytes;
    };
    put("IMAGE.DAT", "abc");
    put("DDPID", "message digest");
    put("PQSheet.csv", "");
    put("notes.txt", "not part of the set");
    put("checksum.md5", "old");

    const std::vector<std::string> extras = {"PQSheet.pdf", "PQSheet.csv", "checksum.md5"};
    const auto text = FilesetChecksum::build(folder, extras);
    ASSERT_TRUE(text.has_value()) << text.error();
    EXPECT_EQ(*text, "f96b697d7cb7938d525a2f31aaf161d0  DDPID\n"
                     "900150983cd24fb0d6963f7d28e17f72  IMAGE.DAT\n"
                     "d41d8cd98f00b204e9800998ecf8427e  PQSheet.csv\n");
    fs::remove_all(folder);
}

} // namespace
} // namespace orvane
