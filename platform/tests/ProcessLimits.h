#pragma once
// Process-wide conditions for tests of failing writes and of threads that must not outlive their
// owner: a file size limit held for one scope, and the number of this process's threads. Tests only.

#include <sys/resource.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

namespace orvane::testing {

// Holds the process's file size limit at `bytes` for one scope; past it a write fails with EFBIG
// (the signal that would otherwise end the process is ignored meanwhile).
struct FileSizeLimit {
    rlimit saved{};
    void (*savedHandler)(int) = nullptr;
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &saved);
        savedHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limited = saved;
        limited.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, savedHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
};

// The threads of this process now, as the kernel lists them. ThreadSanitizer starts a thread of its
// own once the process has a second one; starting and joining one first puts it in every count.
inline std::size_t threadCount() {
    namespace fs = std::filesystem;
    std::thread([] {}).join();
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator{}));
}

} // namespace orvane::testing
