#include "platform/UndoManager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvane {
namespace {

// A value with undo through the manager, the way the workspace keeps its project.
struct Document {
    MainLoop loop{std::make_shared<ManualClock>()};
    UndoManager undo{loop};
    int value = 0;

    void set(int newValue) {
        const int old = value;
        value = newValue;
        undo.registerUndo([this, old] { set(old); });
    }
    void endTurn() { loop.runOneTurn(); }
};

TEST(UndoManager, groupsEverythingRegisteredInOneTurnIntoOneStep) {
    // Three changes in one turn undo at once, their closures last-registered first; changes in
    // separate turns are separate steps; an undo in the change's own turn closes its group first.
    Document d;
    std::vector<int> order;
    d.undo.registerUndo([&] { order.push_back(1); });
    d.undo.registerUndo([&] { order.push_back(2); });
    d.undo.registerUndo([&] { order.push_back(3); });
    EXPECT_TRUE(d.undo.canUndo()); // before the turn ends
    d.endTurn();
    d.set(10);
    d.set(20);
    d.endTurn();
    d.set(30);
    d.endTurn();
    EXPECT_EQ(d.undo.undoStepCount(), 3u);

    d.undo.undo();
    EXPECT_EQ(d.value, 20);
    d.undo.undo();
    EXPECT_EQ(d.value, 0);
    d.undo.undo();
    EXPECT_EQ(order, (std::vector<int>{3, 2, 1}));
    EXPECT_FALSE(d.undo.canUndo());
    d.undo.undo(); // nothing left: no-op

    d.set(1);
    d.endTurn();
    d.set(2);
    d.undo.undo();
    EXPECT_EQ(d.value, 1);
    EXPECT_TRUE(d.undo.canRedo());
}

TEST(UndoManager, registrationsDuringUndoAndRedoBuildTheOtherStack) {
    // Undo makes a redo step, redo makes an undo step without losing further redo steps, and a
    // fresh change clears the redo stack.
    Document d;
    d.set(1);
    d.endTurn();
    d.set(2);
    d.endTurn();
    d.set(3);
    d.endTurn();

    d.undo.undo();
    d.undo.undo();
    EXPECT_EQ(d.value, 1);
    EXPECT_EQ(d.undo.redoStepCount(), 2u);
    EXPECT_FALSE(d.undo.isUndoing());

    d.undo.redo();
    EXPECT_EQ(d.value, 2);
    EXPECT_TRUE(d.undo.canRedo()); // the step to 3 is still there
    EXPECT_EQ(d.undo.undoStepCount(), 2u);
    d.undo.redo();
    EXPECT_EQ(d.value, 3);
    EXPECT_FALSE(d.undo.canRedo());

    d.undo.undo();
    EXPECT_TRUE(d.undo.canRedo());
    d.set(7);
    EXPECT_FALSE(d.undo.canRedo());
    d.endTurn();
    d.undo.undo();
    EXPECT_EQ(d.value, 2);
}

TEST(UndoManager, reportsWhetherItIsUndoingOrRedoingInsideTheClosures) {
    // The flags are up only while a step's closures run.
    MainLoop loop{std::make_shared<ManualClock>()};
    UndoManager undo{loop};
    std::vector<std::string> seen;
    std::function<void()> action = [&] {
        seen.push_back(undo.isUndoing() ? "undoing" : undo.isRedoing() ? "redoing" : "plain");
        undo.registerUndo(action);
    };
    undo.registerUndo(action);
    undo.undo();
    undo.redo();
    undo.undo();
    EXPECT_EQ(seen, (std::vector<std::string>{"undoing", "redoing", "undoing"}));
    EXPECT_FALSE(undo.isUndoing());
    EXPECT_FALSE(undo.isRedoing());
}

TEST(UndoManager, keepsAtMostTheLevelLimitAndDropsTheOldest) {
    // With 100 levels the 101st step pushes out the first: a hundred undos reach value 1, not 0.
    Document d;
    for (int i = 1; i <= 101; ++i) {
        d.set(i);
        d.endTurn();
    }
    EXPECT_EQ(d.undo.undoStepCount(), 100u);
    while (d.undo.canUndo()) {
        d.undo.undo();
    }
    EXPECT_EQ(d.value, 1);

    d.undo.setLevelsOfUndo(3);
    EXPECT_EQ(d.undo.redoStepCount(), 3u);
}

TEST(UndoManager, removeAllActionsForgetsBothStacksAndTheOpenGroup) {
    // After removeAllActions nothing can be undone or redone, even a change of the same turn.
    Document d;
    d.set(1);
    d.endTurn();
    d.set(2);
    d.endTurn();
    d.undo.undo();
    d.set(5);
    d.undo.removeAllActions();
    d.endTurn();
    EXPECT_FALSE(d.undo.canUndo());
    EXPECT_FALSE(d.undo.canRedo());
    d.undo.undo();
    EXPECT_EQ(d.value, 5);
}

} // namespace
} // namespace orvane
