#pragma once
// The user's settings as typed values over the per-user defaults store, each with its default when
// unset (or stored with another type), and the one-time copy of settings from the program's former
// identity. Setters write through at once. Main thread (the store itself is thread-safe).

#include "platform/DefaultsStore.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

namespace SettingsKeys {
inline constexpr std::string_view showVUMeter = "showVUMeter";
inline constexpr std::string_view showSpectrum = "showSpectrum";
inline constexpr std::string_view showRTLufs = "showRTLufs";
inline constexpr std::string_view showCorrelation = "showCorrelation";
inline constexpr std::string_view showInspector = "showInspector";
inline constexpr std::string_view clipTruePeak = "orvane.clipTruePeak";
inline constexpr std::string_view metalWaveform = "orvane.metalWaveform";
inline constexpr std::string_view snapEnabled = "orvane.snapEnabled";
inline constexpr std::string_view scrubAudio = "orvane.scrubAudio";
inline constexpr std::string_view outputDeviceUID = "orvane.outputDeviceUID";
inline constexpr std::string_view recentProjectPaths = "recentProjectPaths";
inline constexpr std::string_view exportIncludePQSheet = "exportIncludePQSheet";
inline constexpr std::string_view inspectorGainExpanded = "inspectorGainExpanded";
inline constexpr std::string_view inspectorTrimExpanded = "inspectorTrimExpanded";
inline constexpr std::string_view inspectorFadesExpanded = "inspectorFadesExpanded";
inline constexpr std::string_view inspectorEnvelopeExpanded = "inspectorEnvelopeExpanded";
inline constexpr std::string_view defaultsMigratedFromLegacyDomain =
    "orvane.defaultsMigratedFromLegacyDomain";
} // namespace SettingsKeys

// The sections of the track inspector whose open state is kept.
enum class InspectorSection { gain, trim, fades, envelope };

class AppSettings final {
  public:
    // The folder name of the former identity's defaults in the config folder.
    static constexpr std::string_view legacyFolderName = "orvane-legacy";

    // `defaults` must outlive the settings.
    explicit AppSettings(DefaultsStore& defaults) : defaults_(defaults) {}
    AppSettings(const AppSettings&) = delete;
    AppSettings& operator=(const AppSettings&) = delete;

    // Meters and panes (defaults: true, true, true, false, true).
    bool showVUMeter() const;
    void setShowVUMeter(bool on);
    bool showSpectrum() const;
    void setShowSpectrum(bool on);
    bool showRTLufs() const;
    void setShowRTLufs(bool on);
    bool showCorrelation() const;
    void setShowCorrelation(bool on);
    bool showInspector() const;
    void setShowInspector(bool on);

    bool clipTruePeak() const; // false: sample peak
    void setClipTruePeak(bool on);
    bool metalWaveform() const; // false
    void setMetalWaveform(bool on);
    bool snapEnabled() const; // true when unset
    void setSnapEnabled(bool on);
    bool scrubAudio() const; // true when unset
    void setScrubAudio(bool on);

    // The chosen output device; nothing means the system default. Setting nothing removes the key.
    std::optional<std::string> outputDeviceUID() const;
    void setOutputDeviceUID(const std::optional<std::string>& uid);

    // Read only here; RecentProjectsStore writes it.
    std::vector<std::string> recentProjectPaths() const;

    bool exportIncludePQSheet() const; // false when unset
    void setExportIncludePQSheet(bool on);

    bool inspectorSectionExpanded(InspectorSection section) const; // true when unset
    void setInspectorSectionExpanded(InspectorSection section, bool expanded);

    bool defaultsMigratedFromLegacyDomain() const; // false when unset

    // Copies every setting of `legacy` that `present` doesn't hold, once: nothing happens when the
    // guard key is already true; otherwise the copy is made, keys present keep their values, and the
    // guard is set true, also when `legacy` is empty. Gives the number of keys copied. A failure to
    // write is not shown to the user.
    static std::size_t migrateLegacyDefaultsIfNeeded(DefaultsStore& present, const DefaultsStore& legacy);
    // The same with the legacy file read only when the migration is still to be done.
    static std::size_t migrateLegacyDefaultsIfNeeded(DefaultsStore& present,
                                                     const std::filesystem::path& legacyFile);
    // "<config folder>/orvane-legacy/defaults.json".
    static std::filesystem::path legacyDefaultsFilePath();

  private:
    bool flag(std::string_view key, bool fallback) const;
    void setFlag(std::string_view key, bool on);

    DefaultsStore& defaults_;
};

} // namespace orvane
