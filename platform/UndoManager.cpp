#include "platform/UndoManager.h"

#include <cassert>
#include <utility>

namespace orvane {

UndoManager::UndoManager(MainLoop& loop, std::size_t levelsOfUndo)
    : loop_(loop), observer_(loop.addEndOfTurnObserver([this] { closeGroup(); })),
      levelsOfUndo_(levelsOfUndo) {}

UndoManager::~UndoManager() {
    loop_.removeEndOfTurnObserver(observer_);
}

void UndoManager::registerUndo(Action action) {
    if (capture_ != nullptr) {
        capture_->push_back(std::move(action));
        return;
    }
    if (!openGroup_) {
        openGroup_.emplace();
    }
    openGroup_->push_back(std::move(action));
    redoStack_.clear();
}

void UndoManager::closeGroup() {
    if (!openGroup_) {
        return;
    }
    Step step = std::move(*openGroup_);
    openGroup_.reset();
    if (!step.empty()) {
        pushLimited(undoStack_, std::move(step));
    }
}

void UndoManager::pushLimited(std::deque<Step>& stack, Step step) const {
    stack.push_back(std::move(step));
    while (levelsOfUndo_ != 0 && stack.size() > levelsOfUndo_) {
        stack.pop_front();
    }
}

void UndoManager::runStep(Step step, bool& flag, std::deque<Step>& target) {
    Step inverse;
    capture_ = &inverse;
    flag = true;
    struct Reset {
        UndoManager& self;
        bool& flag;
        ~Reset() {
            self.capture_ = nullptr;
            flag = false;
        }
    } reset{*this, flag};
    for (auto it = step.rbegin(); it != step.rend(); ++it) {
        (*it)();
    }
    if (!inverse.empty()) {
        pushLimited(target, std::move(inverse));
    }
}

void UndoManager::undo() {
    assert(!isUndoing_ && !isRedoing_);
    closeGroup();
    if (undoStack_.empty()) {
        return;
    }
    Step step = std::move(undoStack_.back());
    undoStack_.pop_back();
    runStep(std::move(step), isUndoing_, redoStack_);
}

void UndoManager::redo() {
    assert(!isUndoing_ && !isRedoing_);
    closeGroup();
    if (redoStack_.empty()) {
        return;
    }
    Step step = std::move(redoStack_.back());
    redoStack_.pop_back();
    runStep(std::move(step), isRedoing_, undoStack_);
}

void UndoManager::removeAllActions() {
    undoStack_.clear();
    redoStack_.clear();
    openGroup_.reset();
}

bool UndoManager::canUndo() const {
    return !undoStack_.empty() || (openGroup_ && !openGroup_->empty());
}

std::size_t UndoManager::undoStepCount() const {
    return undoStack_.size() + ((openGroup_ && !openGroup_->empty()) ? 1 : 0);
}

void UndoManager::setLevelsOfUndo(std::size_t levels) {
    levelsOfUndo_ = levels;
    while (levelsOfUndo_ != 0 && undoStack_.size() > levelsOfUndo_) {
        undoStack_.pop_front();
    }
    while (levelsOfUndo_ != 0 && redoStack_.size() > levelsOfUndo_) {
        redoStack_.pop_front();
    }
}

} // namespace orvane
