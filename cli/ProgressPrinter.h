#pragma once
// Progress of a long job on the command line, and Ctrl-C as the way to stop it. Main thread only.

#include <cstdio>
#include <string>
#include <string_view>

namespace orvane::cli {

// Catches Ctrl-C for the life of a job so that it can stop cleanly; the old handler comes back
// afterwards. interruptRequested() tells whether Ctrl-C came since the scope began.
class InterruptScope final {
  public:
    InterruptScope();
    ~InterruptScope();
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

  private:
    void (*previous_)(int);
};

bool interruptRequested();

// Draws a bar on a terminal; elsewhere prints a line when the status changes or every tenth.
// The call answers false once Ctrl-C came, which stops the job.
class ProgressPrinter final {
  public:
    explicit ProgressPrinter(std::FILE* to = stdout);

    bool operator()(double fraction, std::string_view status);
    // Ends the bar's line on a terminal.
    void finish();

  private:
    std::FILE* to_;
    bool terminal_;
    int percent_ = -1;
    std::string status_;
};

} // namespace orvane::cli
