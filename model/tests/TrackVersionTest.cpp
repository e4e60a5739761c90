#include "model/TrackVersion.h"

#include "model/CDTrack.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(TrackVersion, activeTakeBecomesAStackEntryWithTheTracksIdentity) {
    // The vinyl stack entry takes the track's id and active-take fields but never its loudness.
    CDTrack track = CDTrack::make("T", std::nullopt, 150, 44100);
    track.creationDate = Timestamp{1700000000};
    track.activeColorHex = "#112233";
    track.activeLabel = "Label";
    track.activeNote = "Note";
    track.activeRating = 3;
    track.srcAlgorithm = "SoX VHQ";
    track.srcPhase = "Minimum";
    track.loudness = StoredLoudness{};
    const TrackVersion entry = TrackVersion::cdActiveOf(track, FileURL{"file:///vinyl.wav"});
    EXPECT_EQ(entry.id, track.id);
    EXPECT_EQ(entry.url.absoluteString, "file:///vinyl.wav");
    EXPECT_EQ(entry.creationDate, track.creationDate);
    EXPECT_EQ(entry.colorHex, "#112233");
    EXPECT_EQ(entry.label, "Label");
    EXPECT_EQ(entry.note, "Note");
    EXPECT_EQ(entry.rating, 3);
    EXPECT_EQ(entry.srcAlgorithm, "SoX VHQ");
    EXPECT_EQ(entry.srcPhase, "Minimum");
    EXPECT_FALSE(entry.loudness.has_value());

    const TrackVersion fresh = TrackVersion::make(FileURL{"file:///a.wav"});
    EXPECT_NE(fresh.id, TrackVersion::make(FileURL{"file:///a.wav"}).id);
    EXPECT_FALSE(fresh.creationDate.has_value());
    EXPECT_FALSE(fresh.colorHex.has_value());
}

} // namespace
} // namespace orvane
