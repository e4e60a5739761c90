#pragma once
// The per-user defaults store: one JSON object in "$XDG_CONFIG_HOME/orvane/defaults.json"
// (~/.config when the variable is unset), read once when the store is made and rewritten whole,
// atomically, on every change. A missing, unreadable or corrupt file reads as empty; it is
// replaced only by a complete new file. Any thread: every call takes the store's mutex.

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

class DefaultsStore final {
  public:
    // "<config folder>/<folderName>/defaults.json", the config folder being $XDG_CONFIG_HOME when it
    // is set and absolute, else "$HOME/.config". Empty when neither can be worked out.
    static std::filesystem::path defaultFilePath(std::string_view folderName = "orvane");

    // The process-wide store of the user's defaults at defaultFilePath(); made on first use.
    static DefaultsStore& standard();

    // A store over this file; the file and its folder are made on the first write.
    explicit DefaultsStore(std::filesystem::path filePath);
    DefaultsStore(const DefaultsStore&) = delete;
    DefaultsStore& operator=(const DefaultsStore&) = delete;

    const std::filesystem::path& filePath() const { return filePath_; }

    // Each getter gives nothing when the key is absent or holds a value of another type. A whole
    // number reads as a double too; a fractional number never reads as an integer.
    std::optional<bool> boolValue(std::string_view key) const;
    std::optional<std::int64_t> intValue(std::string_view key) const;
    std::optional<double> doubleValue(std::string_view key) const;
    std::optional<std::string> stringValue(std::string_view key) const;
    // Gives nothing unless the value is an array whose every element is a string.
    std::optional<std::vector<std::string>> stringListValue(std::string_view key) const;
    // The value as stored, whatever its type (used to copy settings between stores).
    std::optional<nlohmann::json> value(std::string_view key) const;

    // Each setter stores the value and rewrites the file. It gives false when the file could not be
    // written (the reason goes to the console); the value is then still held for this process.
    bool setBool(std::string_view key, bool newValue);
    bool setInt(std::string_view key, std::int64_t newValue);
    bool setDouble(std::string_view key, double newValue);
    bool setString(std::string_view key, std::string_view newValue);
    bool setStringList(std::string_view key, const std::vector<std::string>& newValue);
    // Refused (false, nothing changes): a null value, for absence is spelled remove(); text that is
    // not UTF-8; a double that is not finite.
    bool setValue(std::string_view key, const nlohmann::json& newValue);

    // Removes the key; rewrites the file only if the key was there. True when nothing failed.
    bool remove(std::string_view key);
    bool contains(std::string_view key) const;
    std::vector<std::string> keys() const; // sorted

  private:
    bool storeLocked(std::string_view key, nlohmann::json newValue);
    bool writeLocked();

    std::filesystem::path filePath_;
    mutable std::mutex mutex_;
    nlohmann::json values_; // always an object
};

} // namespace orvane
