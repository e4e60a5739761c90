#pragma once
// How the long commands show a job: a bar on a terminal, plain lines elsewhere, and Ctrl-C turned
// into the job's own cancel so that it can stop cleanly. The command's thread only.

#include <cstdio>
#include <string>
#include <string_view>

namespace orvane::cli {

// Catches Ctrl-C for the life of a job; the old handler comes back afterwards.
class InterruptScope final {
  public:
    InterruptScope();
    ~InterruptScope();
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

    // Whether Ctrl-C came since the scope began.
    static bool interrupted();

  private:
    void (*previous_)(int);
};

// Draws a bar when `to` is a terminal; elsewhere prints a line when the status changes or every tenth.
class ProgressPrinter final {
  public:
    explicit ProgressPrinter(std::FILE* to = stdout);

    // Shows the state; answers false once Ctrl-C came, which stops the job.
    bool operator()(double fraction, std::string_view status);
    // Ends the bar's line.
    void finish();

  private:
    std::FILE* to_;
    bool terminal_;
    int percent_ = -1;
    std::string status_;
};

} // namespace orvane::cli
