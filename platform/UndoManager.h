#pragma once
// Undo and redo as closures. Everything registered during one turn of the main loop is one step,
// closed when the turn ends; steps are undone last-in-first-out, and the closures of a step run
// last-registered first. A closure registered while undoing becomes the redo step; one registered
// while redoing becomes an undo step without clearing the redo stack; any other registration
// clears the redo stack. Main thread only.

#include "platform/MainLoop.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

namespace orvane {

class UndoManager final {
  public:
    using Action = std::function<void()>;

    // Closes its open group at the end of each turn of `loop`, which must outlive the manager.
    // levelsOfUndo 0 means no limit; otherwise the oldest step goes when the limit is passed.
    explicit UndoManager(MainLoop& loop, std::size_t levelsOfUndo = 100);
    ~UndoManager();
    UndoManager(const UndoManager&) = delete;
    UndoManager& operator=(const UndoManager&) = delete;

    void registerUndo(Action action);

    // Both close an open group first; with nothing to do they are no-ops. Must not be called from
    // inside an undo or redo closure.
    void undo();
    void redo();

    // Ends the open group now, as the end of the turn would. Harmless without one.
    void closeGroup();
    void removeAllActions();

    // True as soon as something was registered, also before its group is closed.
    bool canUndo() const;
    bool canRedo() const { return !redoStack_.empty(); }
    bool isUndoing() const { return isUndoing_; }
    bool isRedoing() const { return isRedoing_; }

    std::size_t levelsOfUndo() const { return levelsOfUndo_; }
    void setLevelsOfUndo(std::size_t levels);
    std::size_t undoStepCount() const; // closed steps plus an open group
    std::size_t redoStepCount() const { return redoStack_.size(); }

  private:
    using Step = std::vector<Action>;

    void pushLimited(std::deque<Step>& stack, Step step) const;
    // Runs a popped step with the flag set; what it registers becomes one step of `target`.
    void runStep(Step step, bool& flag, std::deque<Step>& target);

    MainLoop& loop_;
    MainLoop::ObserverID observer_;
    std::size_t levelsOfUndo_;
    std::deque<Step> undoStack_; // back is the newest
    std::deque<Step> redoStack_;
    std::optional<Step> openGroup_;
    Step* capture_ = nullptr; // while undoing or redoing, where registrations go
    bool isUndoing_ = false;
    bool isRedoing_ = false;
};

} // namespace orvane
