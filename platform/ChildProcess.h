#pragma once
// Runs an outside program to its end with its standard output and standard error each taken by a pipe.
// Blocks the calling thread, with no time limit; any thread. No shell is involved: each argument
// reaches the program as it stands.

#include <filesystem>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace orvane {

struct ChildProcessResult {
    int exitStatus = 0;    // the exit code, or 128 + the signal number that ended it
    std::string output;    // all of standard output
    std::string errorText; // all of standard error, as bytes
};

// Starts program with arguments (not counting argv[0]), in workingDirectory when one is given; the
// error text if it could not be started.
tl::expected<ChildProcessResult, std::string>
runChildProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                const std::filesystem::path& workingDirectory = {});

} // namespace orvane
