#include "model/StoredLoudness.h"

#include "model/Uuid.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

namespace orvane {
namespace {

TEST(StoredLoudness, matchesTheSameSizeAndADateLessThanASecondAwayEitherWay) {
    // A measurement is valid while the file keeps its size and its date within a second.
    const auto path =
        std::filesystem::temp_directory_path() / ("orvane-loudness-" + Uuid::random().string() + ".wav");
    {
        std::ofstream file(path, std::ios::binary);
        file << std::string(1234, 'x');
    }
    const FileURL url = FileURL::fromPath(path);
    const auto setDate = [&](std::chrono::milliseconds sinceEpoch) {
        const auto system = std::chrono::sys_time<std::chrono::milliseconds>(sinceEpoch);
        std::filesystem::last_write_time(path, std::chrono::file_clock::from_sys(system));
    };
    constexpr std::int64_t second = 1700000000;
    setDate(std::chrono::milliseconds(second * 1000 + 250));
    const auto print = StoredLoudness::fingerprint(url);
    ASSERT_TRUE(print.has_value());
    EXPECT_EQ(print->fileSize, 1234);
    EXPECT_EQ(print->fileModified.secondsSinceEpoch, second);

    StoredLoudness stored;
    stored.fileSize = print->fileSize;
    stored.fileModified = print->fileModified;
    EXPECT_TRUE(stored.matches(url));

    // Touched 0.9 s later, though it crosses into the next second: still the measured file.
    setDate(std::chrono::milliseconds(second * 1000 + 900));
    EXPECT_TRUE(stored.matches(url));
    setDate(std::chrono::milliseconds(second * 1000 + 1150));
    EXPECT_FALSE(stored.matches(url));
    // The stored date a little after the file's: within a second the other way.
    setDate(std::chrono::milliseconds(second * 1000 + 250));
    stored.fileModified.secondsSinceEpoch = second + 1;
    EXPECT_TRUE(stored.matches(url));
    stored.fileModified.secondsSinceEpoch = second + 2;
    EXPECT_FALSE(stored.matches(url));
    stored.fileModified.secondsSinceEpoch = second - 1;
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
