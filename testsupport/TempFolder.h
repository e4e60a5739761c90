#pragma once
// A fresh folder under the system's temporary folder for one test, removed with everything in it.
// The name carries the process id and a serial, so parallel test processes never share one. Tests only.

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <system_error>

namespace orvane::testing {

struct TempFolder {
    std::filesystem::path path;

    explicit TempFolder(const std::string& prefix = "orvane") {
        static std::atomic<int> serial{0};
        path = std::filesystem::temp_directory_path() /
               (prefix + "-" + std::to_string(::getpid()) + "-" + std::to_string(serial++));
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~TempFolder() {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
};

} // namespace orvane::testing
