// Gestures on the timeline canvas, driven end to end on a real workspace: what lands in the project,
// how many undo steps a gesture leaves, and what the engine is told.

#include "interface/tests/CanvasFixture.h"
#include "workspace/tests/TrackTestFiles.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvane::testing {
namespace {

using TimelineCanvasTest = CanvasFixture;

TEST_F(TimelineCanvasTest, movesOnlyLaterTracksAndLeavesOneUndoStepPerGesture) {
    // A press on track 1's body selects it, and a drag from there changes nothing.
    useTwoTracks();
    drag(at(1000, midLane), 1400, midLane);
    EXPECT_EQ(ws->selectedTrackID(), trackAt(0).id);
    EXPECT_EQ(trackAt(0).preGap.totalFrames, 150);
    EXPECT_FALSE(ws->canUndo());

    // Track 2 follows the pointer frame for frame while the drag runs, and the release is one step.
    canvas->pointerDown(at(4000, midLane));
    canvas->pointerDragged(at(3900, midLane));
    EXPECT_EQ(trackAt(1).preGap.totalFrames, 50);
    EXPECT_TRUE(std::holds_alternative<CanvasDrag::MovingTrack>(canvas->dragMode()));
    canvas->pointerDragged(at(3700, midLane));
    canvas->pointerUp(at(3700, midLane));
    endTurn();
    EXPECT_EQ(trackAt(1).preGap.totalFrames, -150);
    EXPECT_EQ(positionAt(1).audioStartLBA, 3000);
    EXPECT_EQ(ws->selectedTrackID(), trackAt(1).id);
    EXPECT_TRUE(isNone(canvas->dragMode()));
    EXPECT_EQ(undoDepth(), 1);
    ws->undo();
    endTurn();
    EXPECT_EQ(trackAt(1).preGap.totalFrames, 150);
}

TEST_F(TimelineCanvasTest, anOverlapLeavesFourSecondsOfTheShorterTrack) {
    useTracks({track("A", 3000), track("B", 1000)});
    drag(at(3400, midLane), 0, midLane);
    EXPECT_EQ(trackAt(1).preGap.totalFrames, -(1000 - 300));

    // The keys obey the same limit: Shift moves a second, a plain arrow one frame.
    EXPECT_TRUE(canvas->key({Key::leftArrow, ModifierKey::shift}));
    EXPECT_EQ(trackAt(1).preGap.totalFrames, -700);
    EXPECT_TRUE(canvas->key({Key::rightArrow, {}}));
    EXPECT_EQ(trackAt(1).preGap.totalFrames, -699);
    EXPECT_TRUE(canvas->key({Key::rightArrow, ModifierKey::shift}));
    EXPECT_EQ(trackAt(1).preGap.totalFrames, -624);
    EXPECT_FALSE(canvas->key({Key::other, {}}));
    ws->setSelectedTrackID(trackAt(0).id);
    canvas->key({Key::rightArrow, {}});
    EXPECT_EQ(trackAt(0).preGap.totalFrames, 150);
}

TEST_F(TimelineCanvasTest, aPressInACrossfadeSelectsAndADragFromThereScrubs) {
    useTracks({track("A", 3000), track("B", 3000, -600)});
    // The overlap runs from frame 2550 (B's audio) to 3150 (A's audio end).
    ASSERT_EQ(positionAt(1).audioStartLBA, 2550);
    canvas->pointerDown(at(2700, 140));
    EXPECT_EQ(ws->selectedTrackID(), trackAt(0).id);
    canvas->pointerDragged(at(2800, 140));
    canvas->pointerDragged(at(2900, 140));
    EXPECT_TRUE(canvas->scrubActive());
    canvas->pointerUp(at(2900, 140));
    endTurn();
    EXPECT_EQ(engine->joined(), "beginScrub scrubTo(37.3333) scrubTo(38.6667) endScrub");
    EXPECT_EQ(trackAt(1).preGap.totalFrames, -600);
    EXPECT_FALSE(ws->canUndo());
}

TEST_F(TimelineCanvasTest, aTrimDragStopsWithFourSecondsLeftAndCommitsOnce) {
    useTracks({track("A", 3000)}); // 1,764,000 samples
    const std::int64_t source = trackAt(0).sourceAudioSamples;
    // Grab the start edge below the fade handles and pull it far past the end.
    canvas->pointerDown(at(150, 100));
    ASSERT_TRUE(std::holds_alternative<CanvasDrag::TrimmingStart>(canvas->dragMode()));
    canvas->pointerDragged(at(9000, 100));
    EXPECT_EQ(trackAt(0).trimStartSamples, 0) << "the project is untouched while the drag runs";
    ASSERT_TRUE(canvas->mirrors().trim);
    EXPECT_EQ(canvas->mirrors().trim->trimStartSamples, source - 176400);
    canvas->pointerUp(at(9000, 100));
    endTurn();
    EXPECT_EQ(trackAt(0).trimStartSamples, source - 176400);
    EXPECT_EQ(trackAt(0).effectiveLength().totalFrames, 300);
    EXPECT_FALSE(canvas->mirrors().trim);
    EXPECT_EQ(undoDepth(), 1);

    // The end edge is the mirror image: a pull to the left trims the end by the distance.
    useTracks({track("A", 3000)});
    drag(at(3150, 100), 3075, 100);
    EXPECT_EQ(trackAt(0).trimEndSamples, 44100);
    EXPECT_EQ(trackAt(0).trimStartSamples, 0);
}

TEST_F(TimelineCanvasTest, trimSnapsToTheNearestZeroCrossingUnlessCtrlIsHeld) {
    // sin(0.05 n) crosses zero every pi / 0.05 = 62.83 samples: at 62.83 k, rounded up to the next sample.
    const auto file = folder / "tone.wav";
    writeTone(file, 44100.0, 44100 * 40);
    CDTrack t = track("A", 3000);
    t.audioFileURL = FileURL::fromPath(file);
    useTracks({t});
    drag(at(150, 100), 160, 100); // 10 frames = 5880 samples; the nearest crossing is 94 pi / 0.05 = 5906.2
    EXPECT_EQ(trackAt(0).trimStartSamples, 5907);
    EXPECT_EQ(undoDepth(), 1);

    useTracks({t});
    drag(at(150, 100), 160, 100, ModifierKey::ctrl);
    EXPECT_EQ(trackAt(0).trimStartSamples, 5880);

    useTracks({t});
    ws->setSnapEnabled(false);
    drag(at(150, 100), 160, 100);
    EXPECT_EQ(trackAt(0).trimStartSamples, 5880);
}

TEST_F(TimelineCanvasTest, fadeHandlesEditAMirrorLiveAndCommitOnlyWhenMoved) {
    useTwoTracks();
    // The fade-in length handle sits at the audio's start, at the lane's top.
    canvas->pointerDown(at(150, laneTop));
    ASSERT_TRUE(std::holds_alternative<CanvasDrag::FadingLengthStart>(canvas->dragMode()));
    canvas->pointerUp(at(150, laneTop));
    endTurn();
    EXPECT_FALSE(ws->canUndo()) << "a press and release with no movement commits nothing";

    canvas->pointerDown(at(150, laneTop));
    canvas->pointerDragged(at(225, laneTop));
    EXPECT_EQ(trackAt(0).fadeInSamples, 0);
    ASSERT_FALSE(liveFades.empty());
    EXPECT_EQ(liveFades.back(), (std::pair<std::int64_t, std::int64_t>(44100, 0)));
    canvas->pointerUp(at(225, laneTop));
    endTurn();
    EXPECT_EQ(trackAt(0).fadeInSamples, 44100);
    EXPECT_EQ(undoDepth(), 1);

    // With a fade in place its curve handle sits at the curve's middle; dragging it up half a lane
    // bends the curve by +1, and the fade-out of the same track is grabbed mirrored at the end.
    const double curveHandleY = 0.25 * laneTop + 0.25 * laneBottom + 0.5 * (laneTop + 0.5 * 142);
    drag(at(150 + 37.5, curveHandleY), 187.5, curveHandleY - 71);
    EXPECT_FLOAT_EQ(trackAt(0).fadeInCurve, 1.0f);
    drag(at(3150, laneTop), 3300, laneTop);
    EXPECT_EQ(trackAt(0).fadeOutSamples, 0) << "a drag outward shortens to nothing";
    drag(at(3150, laneTop), 3000, laneTop);
    EXPECT_EQ(trackAt(0).fadeOutSamples, 88200);
    EXPECT_EQ(undoDepth(), 3);
}

TEST_F(TimelineCanvasTest, envelopePointsAreAddedMovedAndRemovedByTheirPresses) {
    useTwoTracks();
    // A double press in the audio of a track with the envelope off turns it on and adds a point with
    // its level from y: the lane's middle is -30 dB.
    canvas->pointerDown(at(1650, midLane, 2));
    canvas->pointerUp(at(1650, midLane, 2));
    endTurn();
    ASSERT_TRUE(trackAt(0).envelopeEnabled);
    ASSERT_EQ(trackAt(0).gainPoints.size(), 1u);
    EXPECT_EQ(trackAt(0).gainPoints[0].positionSamples, 1500 * 588);
    EXPECT_FLOAT_EQ(trackAt(0).gainPoints[0].gainDB, -30.0f);

    // A double press on the line adds a point on it, keeping the curve's shape.
    canvas->pointerDown(at(500, midLane, 2));
    canvas->pointerUp(at(500, midLane, 2));
    endTurn();
    ASSERT_EQ(trackAt(0).gainPoints.size(), 2u);
    EXPECT_FLOAT_EQ(trackAt(0).gainPoints[0].gainDB, -30.0f);

    // A drag moves the second point only on release, to the top of the lane (0 dB).
    const Uuid moved = trackAt(0).gainPoints[1].id;
    canvas->pointerDown(at(1650, midLane));
    canvas->pointerDragged(at(1800, 0));
    EXPECT_EQ(trackAt(0).gainPoints[1].positionSamples, 1500 * 588);
    canvas->pointerUp(at(1800, 0));
    endTurn();
    EXPECT_EQ(trackAt(0).gainPoints[1].id, moved);
    EXPECT_EQ(trackAt(0).gainPoints[1].positionSamples, 1650 * 588);
    EXPECT_FLOAT_EQ(trackAt(0).gainPoints[1].gainDB, 0.0f);

    // A double press on a point removes it.
    canvas->pointerDown(at(1800, laneTop, 2));
    canvas->pointerUp(at(1800, laneTop, 2));
    endTurn();
    ASSERT_EQ(trackAt(0).gainPoints.size(), 1u);
    EXPECT_NE(trackAt(0).gainPoints[0].id, moved);
}

TEST_F(TimelineCanvasTest, theWheelOverAPointChangesItsSmoothingNotTheZoom) {
    CDTrack t = track("A", 3000);
    t.envelopeEnabled = true;
    t.envelopeSmoothing = 0.5f;
    t.gainPoints.push_back(GainPoint{Uuid::random(), 1000 * 588, -30.0f, std::nullopt});
    useTracks({t});
    WheelEvent wheel{1150, midLane, 0, 2, {}};
    EXPECT_TRUE(canvas->wheel(wheel));
    EXPECT_TRUE(canvas->wheel(wheel));
    EXPECT_DOUBLE_EQ(viewport.pixelsPerSecond, 75.0);
    ASSERT_TRUE(canvas->mirrors().smoothing);
    EXPECT_FLOAT_EQ(canvas->mirrors().smoothing->smoothing, 0.7f);
    EXPECT_FALSE(trackAt(0).gainPoints[0].smoothing) << "the commit waits for a pause";
    clock->advanceBy(0.25);
    endTurn();
    ASSERT_TRUE(trackAt(0).gainPoints[0].smoothing);
    EXPECT_FLOAT_EQ(*trackAt(0).gainPoints[0].smoothing, 0.7f);

    // Elsewhere the same wheel zooms around the pointer: the frame under it stays under it.
    canvas->setScrollGeometry({400.0, 1000.0, 7000.0});
    EXPECT_TRUE(canvas->wheel({2000, midLane, 0, 1, {}}));
    EXPECT_DOUBLE_EQ(viewport.pixelsPerSecond, 81.0);
    ASSERT_TRUE(canvas->scroller().explicitScrollTargetX());
    EXPECT_NEAR(*canvas->scroller().explicitScrollTargetX(), 2000 * 81.0 / 75.0 - 1600, 1e-9);
    EXPECT_TRUE(ws->timelineInteracting);
    clock->advanceBy(0.2);
    endTurn();
    EXPECT_FALSE(ws->timelineInteracting);
    // A mostly horizontal scroll passes on; Alt + Shift zooms the amplitude.
    EXPECT_FALSE(canvas->wheel({2000, midLane, 3, 1, {}}));
    EXPECT_TRUE(canvas->wheel({2000, midLane, 0, 1, ModifierKey::alt | ModifierKey::shift}));
    EXPECT_DOUBLE_EQ(viewport.amplitudeZoom, 1.05);
}

TEST_F(TimelineCanvasTest, altWheelWithZoomToCursorKeepsThePlayheadInPlace) {
    useTwoTracks();
    ws->setZoomToCursor(true);
    ws->setCurrentSample(testing::samplesAt(20.0)); // x 1500 at 75 pps
    canvas->setScrollGeometry({1000.0, 1000.0, 7000.0});
    EXPECT_TRUE(canvas->wheel({1900, midLane, 0, -1, ModifierKey::alt}));
    const double pps = 75.0 / 1.08;
    EXPECT_DOUBLE_EQ(viewport.pixelsPerSecond, pps);
    // 500 points in from the left edge before and after.
    EXPECT_NEAR(pps * 20.0 - *canvas->scroller().explicitScrollTargetX(), 500.0, 1e-9);
}

TEST_F(TimelineCanvasTest, aCrossfadeHandleSetsTheIncomingTracksCurve) {
    useTracks({track("A", 3000), track("B", 3000, -600)});
    // The handle of curve 0 stands at half the lane's height in the overlap's middle.
    const double midX = (2550 + 3150) / 2.0;
    const double handleY = laneBottom - 0.5 * 142;
    canvas->pointerDown(at(midX + 3, handleY + 3));
    ASSERT_TRUE(std::holds_alternative<CanvasDrag::CrossfadeCurve>(canvas->dragMode()));
    canvas->pointerDragged(at(midX, laneBottom - std::pow(2.0, -std::pow(2.0, -1.0)) * 142));
    canvas->pointerUp(at(midX, 0));
    endTurn();
    EXPECT_NEAR(trackAt(1).crossfadeCurve, 1.0f, 1e-4);
    EXPECT_EQ(undoDepth(), 1);
}

TEST_F(TimelineCanvasTest, indexFlagsMoveWithinTheirLimits) {
    CDTrack a = track("A", 3000);
    CDTrack b = track("B", 3000);
    b.indexLocked = false;
    b.subIndexFrames = {750};
    useTracks({a, b});
    // INDEX 01 of track 2 stands at frame 3300; its offset stops at the track's length less 4 s.
    drag(at(3310, rulerY), 9000, rulerY);
    EXPECT_EQ(trackAt(1).index01OffsetFrames, 3000 - 300);
    EXPECT_EQ(ws->selectedTrackID(), trackAt(1).id);
    EXPECT_EQ(undoDepth(), 1);
    useTracks({a, b});
    drag(at(3310, rulerY), 3000, rulerY);
    EXPECT_EQ(trackAt(1).index01OffsetFrames, 0);

    // A sub-index can't sit on INDEX 01 or reach the track's end.
    useTracks({a, b});
    drag(at(3300 + 750 + 3, rulerY), 0, rulerY);
    EXPECT_EQ(trackAt(1).subIndexFrames, std::vector<std::int64_t>{1});
    useTracks({a, b});
    drag(at(3300 + 750 + 3, rulerY), 9000, rulerY);
    EXPECT_EQ(trackAt(1).subIndexFrames, std::vector<std::int64_t>{2999});

    // Inside a crossfade INDEX 01 moves within the overlap, as an offset from its middle.
    b.preGap = CDTime::frames(-600);
    useTracks({a, b});
    const std::int64_t middle = positionAt(1).audioStartLBA + 300;
    ASSERT_EQ(positionAt(1).index01LBA, middle);
    drag(at(static_cast<double>(middle) + 2, rulerY), 9000, rulerY);
    EXPECT_EQ(trackAt(1).index01OffsetFrames, 300);
}

TEST_F(TimelineCanvasTest, theSecondaryButtonDrawsAndClearsTheLoop) {
    useTwoTracks();
    drag(secondary(1200, midLane), 900, midLane);
    EXPECT_EQ(ws->loopStartFrame(), 900);
    EXPECT_EQ(ws->loopEndFrame(), 1200);
    EXPECT_TRUE(ws->loopMode());
    ASSERT_TRUE(engine->loop);
    EXPECT_EQ(engine->loop->first, testing::samplesAt(12.0));
    EXPECT_FALSE(ws->canUndo()) << "the loop is no edit of the disc";

    // A secondary press and release in place clears it, as does a double press.
    drag(secondary(500, midLane), 500, midLane);
    EXPECT_FALSE(ws->loopStartFrame());
    EXPECT_FALSE(ws->loopMode());
}

TEST_F(TimelineCanvasTest, loopFlagsSnapToMarkersUnlessCtrlIsHeld) {
    useTwoTracks();
    ws->setLoopStartFrame(1000);
    ws->setLoopEndFrame(2000);
    ws->setLoopMode(true);
    // The start flag answers from 5 points before it to 11 after; 4 points from track 2's start snaps.
    drag(at(1008, rulerY), 3296, rulerY);
    EXPECT_EQ(ws->loopStartFrame(), 3300);
    canvas->pointerDown(at(3296, rulerY));
    canvas->pointerUp(at(3296, rulerY));
    EXPECT_EQ(ws->loopStartFrame(), 3300) << "a press that never moved writes nothing";
    drag(at(3305, rulerY), 3296, rulerY, ModifierKey::ctrl);
    EXPECT_EQ(ws->loopStartFrame(), 3296);
    // Every flag gesture ends with the override cleared.
    ASSERT_FALSE(overrides.empty());
    EXPECT_FALSE(overrides.back());
}

TEST_F(TimelineCanvasTest, aSingleLoopFlagIsPulledApartOnEitherSideOfItsOrigin) {
    useTwoTracks();
    ws->setLoopStartFrame(1000);
    ws->setLoopEndFrame(1000);
    drag(at(1010, rulerY), 700, rulerY);
    EXPECT_EQ(ws->loopStartFrame(), 700);
    EXPECT_EQ(ws->loopEndFrame(), 1000);
    ws->setLoopStartFrame(1000);
    ws->setLoopEndFrame(1000);
    drag(at(990, rulerY), 1500, rulerY);
    EXPECT_EQ(ws->loopStartFrame(), 1000);
    EXPECT_EQ(ws->loopEndFrame(), 1500);
}

TEST_F(TimelineCanvasTest, thePinKeepsAnOffGridTimeUnlessASnapCaughtIt) {
    useTwoTracks();
    ws->setLockedPlayStartSample(testing::samplesAt(10.0));
    drag(at(750, rulerY), 1000.5, rulerY);
    ASSERT_TRUE(ws->lockedPlayStartSample());
    EXPECT_EQ(*ws->lockedPlayStartSample(), PlaybackControl::sampleAt(1000.5 / 75.0));
    ASSERT_GE(overrides.size(), 2u);
    EXPECT_TRUE(std::holds_alternative<TimecodeOverride::Pin>(overrides[overrides.size() - 2]->value));
    drag(at(1000.5, rulerY), 3294.5, rulerY);
    EXPECT_EQ(*ws->lockedPlayStartSample(), 3300 * 588); // snapped to a frame: its exact sample
}

TEST_F(TimelineCanvasTest, rulerPressesSeekAndADoublePressPlays) {
    useTwoTracks();
    canvas->pointerDown(at(750, rulerY));
    canvas->pointerUp(at(750, rulerY));
    canvas->pointerDown(at(1500, rulerY, 2));
    canvas->pointerUp(at(1500, rulerY, 2));
    EXPECT_EQ(engine->joined(), "seek(10) seek(20) play");
}

TEST_F(TimelineCanvasTest, aScrubAtTheEdgeAutoScrollsAndFollowsWithThePointer) {
    useTwoTracks();
    canvas->setScrollGeometry({6000.0, 1000.0, 8000.0});
    canvas->pointerDown(at(6500, midLane));    // past the last track: a drag scrubs
    canvas->pointerDragged(at(6991, midLane)); // 9 points into the 18-point zone: half depth
    EXPECT_TRUE(canvas->autoscrollRunning());
    clock->advanceBy(1.0 / 60.0);
    endTurn();
    ASSERT_EQ(scrolls.size(), 1u);
    EXPECT_DOUBLE_EQ(scrolls[0], 6005.0); // 0.5 * 6 + 2 points a tick
    EXPECT_EQ(engine->sample, 6996 * 588) << "the scrub follows the pointer over the moved canvas";
    canvas->pointerDragged(at(6500, midLane));
    EXPECT_FALSE(canvas->autoscrollRunning());
    canvas->pointerUp(at(6500, midLane));
    EXPECT_EQ(engine->calls.back(), "endScrub");
}

TEST_F(TimelineCanvasTest, aPreviewTakesNoEditGestures) {
    useTwoTracks();
    PreviewState preview;
    preview.previewURL = FileURL::fromPath(folder / "take.wav");
    preview.previewLengthFrames = 3000;
    ws->setPreview(preview);
    drag(at(150, laneTop), 300, laneTop);
    EXPECT_EQ(trackAt(0).fadeInSamples, 0);
    EXPECT_EQ(engine->calls.front(), "seek(2)");
}

TEST_F(TimelineCanvasTest, aLostReleaseEndsTheGestureAtTheNextPress) {
    useTwoTracks();
    canvas->pointerDown(at(150, laneTop));
    canvas->pointerDragged(at(225, laneTop));
    EXPECT_EQ(ws->interactiveDepth(), 1);
    canvas->pointerDown(at(750, rulerY)); // the toolkit never told of the release
    canvas->pointerUp(at(750, rulerY));
    endTurn();
    EXPECT_EQ(ws->interactiveDepth(), 0);
    EXPECT_EQ(trackAt(0).fadeInSamples, 44100);
    EXPECT_EQ(undoDepth(), 1);
}

TEST_F(TimelineCanvasTest, theDrawingFollowsTheMirrorsOfADrag) {
    CDTrack b = track("B", 3000);
    b.indexLocked = false;
    useTracks({track("A", 3000), b});
    // A trim of the end pulls the drawn end in before anything is committed.
    canvas->pointerDown(at(3150, 100));
    canvas->pointerDragged(at(3000, 100));
    EXPECT_EQ(canvas->shownAudioSpan(0).x0, 150.0);
    EXPECT_EQ(canvas->shownAudioSpan(0).x1, 3000.0);
    EXPECT_EQ(canvas->shownAudioSpan(1).x0, 3300.0);
    EXPECT_EQ(canvas->trackAsShown(trackAt(0)).trimEndSamples, 150 * 588);
    canvas->pointerUp(at(3000, 100));
    endTurn();
    // A dragged INDEX 01 flag stands at its mirrored frame.
    canvas->pointerDown(at(3150 + 5, rulerY));
    canvas->pointerDragged(at(3255, rulerY));
    const auto flags = canvas->shownMarkerFlags();
    ASSERT_EQ(flags.size(), 1u);
    EXPECT_EQ(flags[0].frame, positionAt(1).audioStartLBA + 100);
    canvas->pointerUp(at(3255, rulerY));
    endTurn();
    EXPECT_EQ(trackAt(1).index01OffsetFrames, 100);
}

TEST_F(TimelineCanvasTest, hoverPicksTheCursorOfEachZoneAndTracksTheEnvelopePoint) {
    CDTrack a = track("A", 3000);
    a.envelopeEnabled = true;
    a.gainPoints.push_back(GainPoint{Uuid::random(), 1000 * 588, -30.0f, std::nullopt});
    useTracks({a, track("B", 3000)});
    EXPECT_EQ(canvas->hover(150, 100), CanvasCursor::resizeHorizontal); // the trim edge
    EXPECT_EQ(canvas->hover(2000, 100), CanvasCursor::arrow) << "track 1 never moves";
    EXPECT_EQ(canvas->hover(4000, 100), CanvasCursor::move);
    EXPECT_EQ(canvas->hover(1153, 79), CanvasCursor::pointPick);
    ASSERT_TRUE(canvas->mirrors().hoverEnvelope);
    EXPECT_EQ(canvas->mirrors().hoverEnvelope->pointID, trackAt(0).gainPoints[0].id);
    canvas->pointerExited();
    EXPECT_FALSE(canvas->mirrors().hoverEnvelope);
    EXPECT_EQ(canvas->hover(7000, 100), CanvasCursor::arrow);
}

} // namespace
} // namespace orvane::testing
