#include "delivery/MD5Digest.h"

#include "DDPFilesetFixture.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

namespace fs = std::filesystem;

// 2,000,000 bytes of i mod 251: longer than one 1 MiB read block and not a multiple of it.
std::string patternBytes() {
    std::string bytes(2'000'000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i % 251);
    return bytes;
}
constexpr const char* kPatternMD5 = "6cf95c339103a692b420d6b4fab5ee29";

TEST(MD5Digest, matchesTheReferenceVectors) {
    // Known digests, whether fed at once or in pieces; finishing starts a fresh digest.
    EXPECT_EQ(md5Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(md5Hex("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    MD5Digest digest;
    const std::string thousand(1000, 'a');
    for (int i = 0; i < 1000; ++i)
        digest.update(thousand);
    EXPECT_EQ(digest.finishHex(), "7707d6ae4e027c70eea2a935c2296f21");
    digest.update("abc");
    EXPECT_EQ(digest.finishHex(), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(MD5Digest, hashesFilesBlockByBlockAndStopsWhenAsked) {
    // A file across block boundaries hashes to its reference value with progress per block;
    // a false answer cancels; a missing file is unreadable with the system's reason.
    testing::TempFolder folder;
    const fs::path file = folder.path / "pattern.dat";
    testing::putFile(file, patternBytes());
    std::vector<std::int64_t> reports;
    const auto hex = md5HexOfFile(file, [&](std::int64_t done) {
        reports.push_back(done);
        return true;
    });
    ASSERT_TRUE(hex.has_value());
    EXPECT_EQ(*hex, kPatternMD5);
    EXPECT_EQ(reports, (std::vector<std::int64_t>{1 << 20, 2'000'000}));

    const auto cancelled = md5HexOfFile(file, [](std::int64_t) { return false; });
    ASSERT_FALSE(cancelled.has_value());
    EXPECT_EQ(cancelled.error().failure, MD5FileFailure::cancelled);
    fs::remove(file);

    const auto missing = md5HexOfFile(file);
    ASSERT_FALSE(missing.has_value());
    EXPECT_EQ(missing.error().failure, MD5FileFailure::unreadable);
    EXPECT_EQ(missing.error().reason, "No such file or directory");
}

} // namespace
} // namespace orvane
