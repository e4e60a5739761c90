#include "workspace/RecentProjectsStore.h"

#include <algorithm>
#include <system_error>

namespace orvane {

namespace {

// The form an entry is stored and compared in, so "./a.ovproj" and its absolute path are one entry.
std::string storedForm(const std::filesystem::path& url) {
    std::error_code error;
    const auto absolute = std::filesystem::absolute(url, error);
    return (error ? url : absolute).lexically_normal().string();
}

} // namespace

RecentProjectsStore::RecentProjectsStore(DefaultsStore& defaults) : defaults_(defaults) {
    for (const auto& path : storedPaths())
        urls_.emplace_back(path);
}

std::vector<std::string> RecentProjectsStore::storedPaths() const {
    // A value of another type, or one that is not a list of text, counts as an empty list.
    return defaults_.stringListValue(defaultsKey).value_or(std::vector<std::string>{});
}

void RecentProjectsStore::store(const std::vector<std::string>& paths) {
    defaults_.setStringList(defaultsKey, paths);
    urls_.assign(paths.begin(), paths.end());
    if (onChange_)
        onChange_();
}

void RecentProjectsStore::record(const std::filesystem::path& url) {
    const std::string path = storedForm(url);
    auto paths = storedPaths();
    std::erase(paths, path);
    paths.insert(paths.begin(), path);
    if (paths.size() > maximumCount)
        paths.resize(maximumCount);
    store(paths);
}

void RecentProjectsStore::remove(const std::filesystem::path& url) {
    auto paths = storedPaths();
    std::erase(paths, storedForm(url));
    store(paths);
}

void RecentProjectsStore::clear() {
    store({});
}

} // namespace orvane
