#pragma once
// A small project with real 16-bit sources for the CUE, track and batch export tests: three tracks
// with pre-gaps of 150, 75 and 0 frames, a sub-index past its track's end, a quote in the album
// title, a messy ISRC, flags, and a title of blanks. No dither, so every render is the same.

#include "DDPFilesetFixture.h"
#include "model/TimelineCalculator.h"
#include "platform/AudioFileWriter.h"

#include <cmath>
#include <cstdlib>
#include <optional>

namespace orvane::testing {

inline void writeTone(const fs::path& file, std::int64_t frames, double hz) {
    auto writer = AudioFileWriter::open(file, AudioWriteSettings{});
    ASSERT_TRUE(writer.has_value());
    std::vector<std::int16_t> samples(static_cast<std::size_t>(frames * 588 * 2));
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        const double t = static_cast<double>(i / 2) / 44100.0;
        samples[i] = static_cast<std::int16_t>(std::lround(9000.0 * std::sin(2 * M_PI * hz * t)));
        samples[i + 1] = static_cast<std::int16_t>(std::lround(7000.0 * std::sin(2 * M_PI * hz * 1.5 * t)));
    }
    ASSERT_TRUE(writer->writeInterleavedInt16(samples).has_value());
    ASSERT_TRUE(writer->finish().has_value());
}

inline CDProject exportProject(const fs::path& folder) {
    CDProject p;
    p.albumTitle = "My \"Best\" Album";
    p.albumPerformer = "The Testers";
    p.mcn = "4-006381-333931";
    p.masterDither = "None";
    p.tracks = {CDTrack::make("Opening", "gb-aye-26-00001", 150, 300 * 588),
                CDTrack::make("Caf\u00E9 \"Noir\"", std::nullopt, 75, 360 * 588 + 100),
                CDTrack::make("   ", "bad", 0, 320 * 588)};
    p.tracks[0].subIndexFrames = {500, 100};
    p.tracks[1].preEmphasis = true;
    p.tracks[1].copyPermitted = true;
    p.tracks[1].performer = "Duo";
    const double tones[] = {440.0, 660.0, 330.0};
    const std::int64_t lengths[] = {300, 361, 320};
    for (std::size_t i = 0; i < p.tracks.size(); ++i) {
        const fs::path source = folder / ("source" + std::to_string(i + 1) + ".wav");
        writeTone(source, lengths[i], tones[i]);
        p.tracks[i].audioFileURL = FileURL::fromPath(source);
    }
    return p;
}

inline std::vector<TrackPosition> positionsOf(const CDProject& project) {
    auto positions = TimelineCalculator::calculatePositions(project);
    EXPECT_TRUE(positions.has_value());
    return positions.value_or(std::vector<TrackPosition>{});
}

// Points the process's temporary folder (TMPDIR) at a private one for the life of a test, so that
// what a delivery leaves there can be counted without seeing other processes' files.
class PrivateTemporaryFolder final {
  public:
    explicit PrivateTemporaryFolder(const fs::path& folder) : folder_(folder) {
        if (const char* old = std::getenv("TMPDIR"))
            previous_ = old;
        fs::create_directories(folder_);
        ::setenv("TMPDIR", folder_.c_str(), 1);
    }
    ~PrivateTemporaryFolder() {
        if (previous_)
            ::setenv("TMPDIR", previous_->c_str(), 1);
        else
            ::unsetenv("TMPDIR");
    }
    PrivateTemporaryFolder(const PrivateTemporaryFolder&) = delete;
    PrivateTemporaryFolder& operator=(const PrivateTemporaryFolder&) = delete;

    // The files left in it.
    std::vector<std::string> leftovers() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_))
            names.push_back(entry.path().filename().string());
        return names;
    }

  private:
    fs::path folder_;
    std::optional<std::string> previous_;
};

} // namespace orvane::testing
