#include "model/CDProject.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(CDProject, copiesAreSnapshotsComparedMemberwise) {
    // A copy is equal until any field, an id included, changes; indexOfTrack finds tracks by id.
    CDProject project;
    project.tracks = {CDTrack::make("A", std::nullopt, 150, 44100),
                      CDTrack::make("B", std::nullopt, 0, 44100)};
    CDProject copy = project;
    EXPECT_EQ(copy, project);
    copy.tracks[1].id = Uuid::random();
    EXPECT_NE(copy, project);
    copy = project;
    copy.tracks[0].gainPoints.push_back(GainPoint{Uuid::random(), 0, -1.0f, std::nullopt});
    EXPECT_NE(copy, project);

    EXPECT_EQ(project.indexOfTrack(project.tracks[1].id), 1u);
    EXPECT_FALSE(project.indexOfTrack(Uuid::random()).has_value());
}

} // namespace
} // namespace orvane
