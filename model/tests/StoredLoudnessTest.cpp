#include "model/StoredLoudness.h"

#include "model/Uuid.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace orvane {
namespace {

TEST(StoredLoudness, matchesOnlyTheSameFileSizeAndSecond) {
    // A measurement is valid while the file keeps its size and modification second.
    const auto path =
        std::filesystem::temp_directory_path() / ("orvane-loudness-" + Uuid::random().string() + ".wav");
    {
        std::ofstream file(path, std::ios::binary);
        file << std::string(1234, 'x');
    }
    const FileURL url = FileURL::fromPath(path);
    const auto print = StoredLoudness::fingerprint(url);
    ASSERT_TRUE(print.has_value());
    EXPECT_EQ(print->fileSize, 1234);

    StoredLoudness stored;
    stored.fileSize = print->fileSize;
    stored.fileModified = print->fileModified;
    EXPECT_TRUE(stored.matches(url));

    stored.fileModified.secondsSinceEpoch += 1;
    EXPECT_FALSE(stored.matches(url));
    stored.fileModified = print->fileModified;
    stored.fileSize = 1235;
    EXPECT_FALSE(stored.matches(url));

    std::filesystem::remove(path);
    EXPECT_FALSE(StoredLoudness::fingerprint(url).has_value());
    EXPECT_FALSE(StoredLoudness::fingerprint(std::nullopt).has_value());
    EXPECT_FALSE(stored.matches(std::nullopt));
    EXPECT_FALSE(StoredLoudness::fingerprint(FileURL{"https://example.invalid/a.wav"}).has_value());
}

} // namespace
} // namespace orvane
