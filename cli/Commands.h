#pragma once
// The subcommands of orvane-cli. Each takes the arguments after its name and returns the exit
// status: 0 success, 1 a failure the user should read about on stderr, 2 a usage error unless the
// command says otherwise.

#include <span>
#include <string>
#include <string_view>

namespace orvane::cli {

using Args = std::span<const std::string>;

struct Command {
    std::string_view name;
    std::string_view summary;
    int (*run)(Args args);
};

int runLayout(Args args);
int runDemo(Args args);
int runSrc(Args args);
int runPq(Args args);
int runNew(Args args);
int runValidate(Args args);
int runDdp(Args args);
int runDevices(Args args);
int runPlay(Args args);
int runLoudness(Args args);
int runReport(Args args);
int runImprint(Args args);
int runPreview(Args args);
int runCue(Args args);
int runTracks(Args args);
int runBatch(Args args);

// True when args holds "--help" or "-h".
bool wantsHelp(Args args);

} // namespace orvane::cli
