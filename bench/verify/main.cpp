// Times the fileset verifier beside md5sum over the same files of a full-length disc, both with a
// warm cache and best of three, and prints the ratio against the 1.5x target. The fileset is a real
// export (streams, CD-Text, checksum.md5) of a disc whose tracks render as digital silence, which
// costs the hash the same as music. Usage: bench_verify [MINUTES] (default 74). Data lives in a
// temporary folder, removed at the end.

#include "delivery/DDPExport.h"
#include "delivery/DDPVerifier.h"
#include "model/CDTrack.h"
#include "model/TimelineCalculator.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

using namespace orvane;
namespace fs = std::filesystem;

namespace {

constexpr int trackCount = 12;
constexpr int rounds = 3;

template <class F> double seconds(F&& f) {
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <class F> double bestOf(F&& f) {
    double best = 1e300;
    for (int i = 0; i < rounds; ++i)
        best = std::min(best, seconds(f));
    return best;
}

// The names checksum.md5 lists, in its order.
std::vector<std::string> listedFiles(const fs::path& folder) {
    std::vector<std::string> names;
    std::FILE* f = std::fopen((folder / "checksum.md5").c_str(), "r");
    char hash[64];
    char name[256];
    while (f != nullptr && std::fscanf(f, "%63s %255s", hash, name) == 2)
        names.emplace_back(name);
    if (f != nullptr)
        std::fclose(f);
    return names;
}

// md5sum over the files, run in the folder with its output discarded; exits on failure.
void runMd5sum(const fs::path& folder, const std::vector<std::string>& names) {
    std::vector<std::string> args{"md5sum"};
    for (const auto& n : names)
        args.push_back((folder / n).string());
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, "md5sum", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (spawned != 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "md5sum failed\n");
        std::exit(1);
    }
}

} // namespace

int main(int argc, char** argv) {
    const double minutes = argc > 1 ? std::atof(argv[1]) : 74.0;
    const fs::path folder = fs::temp_directory_path() / ("orvane-bench-verify-" + std::to_string(::getpid()));
    const fs::path fileset = folder / "DDP";

    CDProject project;
    project.albumTitle = "Verify Bench";
    project.masterDither = "None";
    const auto trackFrames = static_cast<std::int64_t>(minutes * 60.0 * 75.0 / trackCount);
    for (int k = 0; k < trackCount; ++k)
        project.tracks.push_back(CDTrack::make("Track " + std::to_string(k + 1), std::nullopt,
                                               k == 0 ? 150 : 0, trackFrames * 588));
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        std::fprintf(stderr, "layout failed\n");
        return 1;
    }
    const double made = seconds([&] { Exporter::exportDDP(project, *positions, fileset, {}); });
    const std::vector<std::string> names = listedFiles(fileset);
    std::int64_t bytes = 0;
    for (const auto& n : names)
        bytes += static_cast<std::int64_t>(fs::file_size(fileset / n));

    // One untimed pass of each warms the cache for both.
    runMd5sum(fileset, names);
    std::size_t issueCount = 0;
    bool valid = true;
    const auto verifyOnce = [&] {
        const auto issues = DDPVerifier::verify(fileset);
        issueCount = issues ? issues->size() : 0;
        valid = issues && DDPVerifier::reportTitle(*issues) == "DDP Fileset Is Valid";
    };
    verifyOnce();
    if (!valid) {
        std::fprintf(stderr, "the bench fileset does not verify\n");
        return 1;
    }
    const double md5sum = bestOf([&] { runMd5sum(fileset, names); });
    const double verifier = bestOf(verifyOnce);
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);

    std::printf("fileset: %.1f min, %zu files listed in checksum.md5, %.0f MB (exported in %.1f s)\n",
                static_cast<double>(positions->back().endLBA) / 75.0 / 60.0, names.size(),
                static_cast<double>(bytes) / 1e6, made);
    std::printf("%-40s %10s %10s\n", "case (warm cache, best of 3)", "seconds", "MB/s");
    std::printf("%-40s %10.3f %10.0f\n", "md5sum over the listed files", md5sum,
                static_cast<double>(bytes) / 1e6 / md5sum);
    std::printf("%-40s %10.3f %10.0f\n", "DDPVerifier::verify (all checks)", verifier,
                static_cast<double>(bytes) / 1e6 / verifier);
    std::printf("verify / md5sum: %.2f (target at most 1.50: %s); %zu issues, peak RSS %.0f MB\n",
                verifier / md5sum, verifier / md5sum <= 1.5 ? "met" : "NOT met", issueCount,
                static_cast<double>(usage.ru_maxrss) / 1024.0);
    fs::remove_all(folder);
    return 0;
}
