#pragma once
// A workspace on a manual main loop, a recording engine, a wall clock the test sets, and a
// defaults file in a fresh temporary folder. Tests only.

#include "model/CDTrack.h"
#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"
#include "testsupport/TempFolder.h"
#include "workspace/WorkspaceState.h"
#include "workspace/tests/FakePlayback.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace orvane::testing {

class WorkspaceFixture : public ::testing::Test {
  protected:
    WorkspaceFixture() { makeWorkspace(); }

    void makeWorkspace() {
        ws.reset();
        engine = std::make_shared<FakePlayback::State>();
        ws = std::make_unique<WorkspaceState>(loop, std::make_unique<FakePlayback>(engine), *defaults,
                                              [this] { return wallSeconds; });
    }

    // Ends the present turn of the main loop: the undo group closes.
    void endTurn() { loop.runOneTurn(); }

    // A track of whole frames with the usual 150-frame pre-gap.
    static CDTrack track(const std::string& title, std::int64_t frames, std::int64_t preGap = 150) {
        return CDTrack::make(title, std::nullopt, preGap, frames * 588);
    }

    // One change of the project through the setter, within the present turn.
    void change(const std::function<void(CDProject&)>& apply) {
        CDProject p = ws->project();
        apply(p);
        ws->setProject(std::move(p));
    }

    // One change, then the end of the turn: one undo step.
    void edit(const std::function<void(CDProject&)>& apply) {
        change(apply);
        endTurn();
    }

    TempFolder temp{"orvane-workspace-test"};
    const std::filesystem::path& folder = temp.path;
    std::unique_ptr<DefaultsStore> defaults = std::make_unique<DefaultsStore>(folder / "defaults.json");
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    MainLoop loop{clock};
    std::shared_ptr<FakePlayback::State> engine;
    double wallSeconds = 1000.0;
    std::unique_ptr<WorkspaceState> ws;
};

} // namespace orvane::testing
