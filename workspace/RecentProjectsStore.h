#pragma once
// The recent documents: absolute paths, most recent first, at most ten, kept in the user default
// "recentProjectPaths" (an array of path strings). Dead entries are kept until chosen; the panels
// remove them then. Main thread.

#include "platform/DefaultsStore.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string_view>
#include <vector>

namespace orvane {

class RecentProjectsStore final {
  public:
    static constexpr std::string_view defaultsKey = "recentProjectPaths";
    static constexpr std::size_t maximumCount = 10;

    // Reads the list from `defaults`, which must outlive the store.
    explicit RecentProjectsStore(DefaultsStore& defaults);
    RecentProjectsStore(const RecentProjectsStore&) = delete;
    RecentProjectsStore& operator=(const RecentProjectsStore&) = delete;

    // The list as last stored, most recent first.
    const std::vector<std::filesystem::path>& urls() const { return urls_; }

    // Puts the path at the front, dropping any earlier entry of the same path and the eleventh.
    void record(const std::filesystem::path& url);
    // Drops every entry of this path.
    void remove(const std::filesystem::path& url);
    // Empties the list ("Clear Menu").
    void clear();

    // Told after every change of urls(); one observer, replaced by the next call.
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

  private:
    std::vector<std::string> storedPaths() const;
    void store(const std::vector<std::string>& paths);

    DefaultsStore& defaults_;
    std::vector<std::filesystem::path> urls_;
    std::function<void()> onChange_;
};

} // namespace orvane
