#pragma once
// A hand-built three-track disc for the PQ sheet tests: an ISRC on track 1, an audible pre-gap
// on track 2 (whose title has a comma), and track 3 crossfaded into track 2.

#include "model/CDProject.h"
#include "model/TimelineCalculator.h"
#include "model/TrackPosition.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvane::pqtest {

inline CDTrack secondsTrack(std::string title, std::int64_t preGapFrames, std::int64_t seconds) {
    return CDTrack::make(std::move(title), std::nullopt, preGapFrames, seconds * RedBook::sampleRate);
}

inline CDProject threeTrackDisc() {
    CDProject project;
    project.albumTitle = "Harbour Lights";
    project.albumPerformer = "The Quay";
    project.mcn = "4006381333931";
    project.masterNote = "Ref. B";

    CDTrack opening = secondsTrack("Opening", 150, 30);
    opening.isrc = "us-abc-12-34567";
    opening.subIndexFrames = {300, 600};

    CDTrack song = secondsTrack("Song, with comma", 75, 20);
    song.indexLocked = false;
    song.index01OffsetFrames = 30;
    song.preEmphasis = true;
    song.note = "fade ok";

    CDTrack closer = secondsTrack("Say \"hi\"", -150, 10);
    closer.isrc = "GBXYZ9900001";
    closer.copyPermitted = true;
    closer.performer = "Guest";

    project.tracks = {opening, song, closer};
    return project;
}

inline std::vector<TrackPosition> positionsOf(const CDProject& project) {
    auto positions = TimelineCalculator::calculatePositions(project);
    EXPECT_TRUE(positions.has_value());
    return positions ? *positions : std::vector<TrackPosition>{};
}

} // namespace orvane::pqtest
