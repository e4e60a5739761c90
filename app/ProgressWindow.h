#pragma once
// A modal progress window with "Cancel" over a job that runs on a background thread. The job
// reports a fraction and a status through the function it is given, which answers false once the
// user has cancelled; the window follows at 30 updates a second. GUI thread (the job excepted).

#include <QString>
#include <exception>
#include <functional>
#include <string>

class QWidget;

namespace orvane::app {

using ProgressReport = std::function<bool(double fraction, const std::string& status)>;

struct ProgressOutcome {
    bool cancelled = false;   // the user pressed "Cancel"
    std::exception_ptr error; // what the job threw, rethrow to read it
};

// Blocks in a nested event loop until the job has returned or thrown.
ProgressOutcome runWithProgress(QWidget* parent, const QString& title,
                                const std::function<void(const ProgressReport&)>& job);

} // namespace orvane::app
