#include "platform/DefaultsStore.h"

#include "platform/AtomicFile.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <limits>

namespace orvane {

namespace {

std::filesystem::path homeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/')
        return home;
    struct passwd entry {};
    struct passwd* found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && found->pw_dir[0] == '/')
        return found->pw_dir;
    return {};
}

nlohmann::json readObject(const std::filesystem::path& path) {
    if (path.empty())
        return nlohmann::json::object();
    std::error_code ec;
    if (!std::filesystem::exists(path, ec))
        return nlohmann::json::object();
    const auto bytes = AtomicFile::read(path);
    if (!bytes) {
        std::cerr << "DefaultsStore: settings ignored. " << bytes.error() << "\n";
        return nlohmann::json::object();
    }
    auto parsed = nlohmann::json::parse(*bytes, nullptr, /*allow_exceptions=*/false);
    if (parsed.is_discarded() || !parsed.is_object()) {
        std::cerr << "DefaultsStore: settings ignored, " << path.string() << " is not a JSON object\n";
        return nlohmann::json::object();
    }
    return parsed;
}

} // namespace

std::filesystem::path DefaultsStore::defaultFilePath(std::string_view folderName) {
    std::filesystem::path config;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg != nullptr && xdg[0] == '/') {
        config = xdg;
    } else if (const auto home = homeFolder(); !home.empty()) {
        config = home / ".config";
    } else {
        return {};
    }
    return config / std::string{folderName} / "defaults.json";
}

DefaultsStore& DefaultsStore::standard() {
    static DefaultsStore store{defaultFilePath()};
    return store;
}

DefaultsStore::DefaultsStore(std::filesystem::path filePath)
    : filePath_(std::move(filePath)), values_(readObject(filePath_)) {}

std::optional<nlohmann::json> DefaultsStore::value(std::string_view key) const {
    const std::lock_guard lock{mutex_};
    const auto it = values_.find(key);
    if (it == values_.end())
        return std::nullopt;
    return *it;
}

std::optional<bool> DefaultsStore::boolValue(std::string_view key) const {
    const auto stored = value(key);
    if (!stored || !stored->is_boolean())
        return std::nullopt;
    return stored->get<bool>();
}

std::optional<std::int64_t> DefaultsStore::intValue(std::string_view key) const {
    const auto stored = value(key);
    if (!stored || !stored->is_number_integer())
        return std::nullopt;
    if (stored->is_number_unsigned() &&
        stored->get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return std::nullopt;
    return stored->get<std::int64_t>();
}

std::optional<double> DefaultsStore::doubleValue(std::string_view key) const {
    const auto stored = value(key);
    if (!stored || !stored->is_number())
        return std::nullopt;
    return stored->get<double>();
}

std::optional<std::string> DefaultsStore::stringValue(std::string_view key) const {
    const auto stored = value(key);
    if (!stored || !stored->is_string())
        return std::nullopt;
    return stored->get<std::string>();
}

std::optional<std::vector<std::string>> DefaultsStore::stringListValue(std::string_view key) const {
    const auto stored = value(key);
    if (!stored || !stored->is_array())
        return std::nullopt;
    std::vector<std::string> list;
    list.reserve(stored->size());
    for (const auto& element : *stored) {
        if (!element.is_string())
            return std::nullopt;
        list.push_back(element.get<std::string>());
    }
    return list;
}

bool DefaultsStore::setBool(std::string_view key, bool newValue) {
    return setValue(key, newValue);
}

bool DefaultsStore::setInt(std::string_view key, std::int64_t newValue) {
    return setValue(key, newValue);
}

bool DefaultsStore::setDouble(std::string_view key, double newValue) {
    // JSON has no spelling for these; stored, they would come back as null.
    if (!std::isfinite(newValue))
        return false;
    return setValue(key, newValue);
}

bool DefaultsStore::setString(std::string_view key, std::string_view newValue) {
    return setValue(key, std::string{newValue});
}

bool DefaultsStore::setStringList(std::string_view key, const std::vector<std::string>& newValue) {
    return setValue(key, nlohmann::json(newValue));
}

bool DefaultsStore::setValue(std::string_view key, const nlohmann::json& newValue) {
    if (newValue.is_null() || newValue.is_discarded())
        return false;
    try {
        // Text that is not UTF-8 can't be written as JSON; refuse it before it poisons every later write.
        (void)newValue.dump();
    } catch (const nlohmann::json::exception&) {
        return false;
    }
    const std::lock_guard lock{mutex_};
    return storeLocked(key, newValue);
}

bool DefaultsStore::storeLocked(std::string_view key, nlohmann::json newValue) {
    auto& slot = values_[std::string{key}];
    if (slot == newValue)
        return true;
    slot = std::move(newValue);
    return writeLocked();
}

bool DefaultsStore::remove(std::string_view key) {
    const std::lock_guard lock{mutex_};
    const auto it = values_.find(key);
    if (it == values_.end())
        return true;
    values_.erase(it);
    return writeLocked();
}

bool DefaultsStore::contains(std::string_view key) const {
    const std::lock_guard lock{mutex_};
    return values_.contains(key);
}

std::vector<std::string> DefaultsStore::keys() const {
    const std::lock_guard lock{mutex_};
    std::vector<std::string> names;
    names.reserve(values_.size());
    for (const auto& item : values_.items())
        names.push_back(item.key());
    return names;
}

bool DefaultsStore::writeLocked() {
    if (filePath_.empty()) {
        std::cerr << "DefaultsStore: no configuration folder; settings are kept for this session only\n";
        return false;
    }
    std::error_code ec;
    std::filesystem::create_directories(filePath_.parent_path(), ec);
    if (ec) {
        std::cerr << "DefaultsStore: could not create " << filePath_.parent_path().string() << ": "
                  << ec.message() << "\n";
        return false;
    }
    const std::string bytes = values_.dump(4) + "\n";
    const auto written = AtomicFile::write(filePath_, bytes);
    if (!written) {
        std::cerr << "DefaultsStore: " << written.error() << "\n";
        return false;
    }
    return true;
}

} // namespace orvane
