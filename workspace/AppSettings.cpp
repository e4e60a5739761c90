#include "workspace/AppSettings.h"

namespace orvane {

namespace {

std::string_view keyOf(InspectorSection section) {
    switch (section) {
    case InspectorSection::gain:
        return SettingsKeys::inspectorGainExpanded;
    case InspectorSection::trim:
        return SettingsKeys::inspectorTrimExpanded;
    case InspectorSection::fades:
        return SettingsKeys::inspectorFadesExpanded;
    case InspectorSection::envelope:
        return SettingsKeys::inspectorEnvelopeExpanded;
    }
    return SettingsKeys::inspectorGainExpanded;
}

} // namespace

bool AppSettings::flag(std::string_view key, bool fallback) const {
    return defaults_.boolValue(key).value_or(fallback);
}

// A setting that can't be written stays in force for this session; the store says why on the console.
void AppSettings::setFlag(std::string_view key, bool on) {
    defaults_.setBool(key, on);
}

bool AppSettings::showVUMeter() const {
    return flag(SettingsKeys::showVUMeter, true);
}
void AppSettings::setShowVUMeter(bool on) {
    setFlag(SettingsKeys::showVUMeter, on);
}
bool AppSettings::showSpectrum() const {
    return flag(SettingsKeys::showSpectrum, true);
}
void AppSettings::setShowSpectrum(bool on) {
    setFlag(SettingsKeys::showSpectrum, on);
}
bool AppSettings::showRTLufs() const {
    return flag(SettingsKeys::showRTLufs, true);
}
void AppSettings::setShowRTLufs(bool on) {
    setFlag(SettingsKeys::showRTLufs, on);
}
bool AppSettings::showCorrelation() const {
    return flag(SettingsKeys::showCorrelation, false);
}
void AppSettings::setShowCorrelation(bool on) {
    setFlag(SettingsKeys::showCorrelation, on);
}
bool AppSettings::showInspector() const {
    return flag(SettingsKeys::showInspector, true);
}
void AppSettings::setShowInspector(bool on) {
    setFlag(SettingsKeys::showInspector, on);
}

bool AppSettings::clipTruePeak() const {
    return flag(SettingsKeys::clipTruePeak, false);
}
void AppSettings::setClipTruePeak(bool on) {
    setFlag(SettingsKeys::clipTruePeak, on);
}
bool AppSettings::metalWaveform() const {
    return flag(SettingsKeys::metalWaveform, false);
}
void AppSettings::setMetalWaveform(bool on) {
    setFlag(SettingsKeys::metalWaveform, on);
}
bool AppSettings::snapEnabled() const {
    return flag(SettingsKeys::snapEnabled, true);
}
void AppSettings::setSnapEnabled(bool on) {
    setFlag(SettingsKeys::snapEnabled, on);
}
bool AppSettings::scrubAudio() const {
    return flag(SettingsKeys::scrubAudio, true);
}
void AppSettings::setScrubAudio(bool on) {
    setFlag(SettingsKeys::scrubAudio, on);
}

std::optional<std::string> AppSettings::outputDeviceUID() const {
    return defaults_.stringValue(SettingsKeys::outputDeviceUID);
}

void AppSettings::setOutputDeviceUID(const std::optional<std::string>& uid) {
    if (uid)
        defaults_.setString(SettingsKeys::outputDeviceUID, *uid);
    else
        defaults_.remove(SettingsKeys::outputDeviceUID);
}

std::vector<std::string> AppSettings::recentProjectPaths() const {
    return defaults_.stringListValue(SettingsKeys::recentProjectPaths).value_or(std::vector<std::string>{});
}

bool AppSettings::exportIncludePQSheet() const {
    return flag(SettingsKeys::exportIncludePQSheet, false);
}
void AppSettings::setExportIncludePQSheet(bool on) {
    setFlag(SettingsKeys::exportIncludePQSheet, on);
}

bool AppSettings::inspectorSectionExpanded(InspectorSection section) const {
    return flag(keyOf(section), true);
}
void AppSettings::setInspectorSectionExpanded(InspectorSection section, bool expanded) {
    setFlag(keyOf(section), expanded);
}

bool AppSettings::defaultsMigratedFromLegacyDomain() const {
    return flag(SettingsKeys::defaultsMigratedFromLegacyDomain, false);
}

std::size_t AppSettings::migrateLegacyDefaultsIfNeeded(DefaultsStore& present, const DefaultsStore& legacy) {
    if (present.boolValue(SettingsKeys::defaultsMigratedFromLegacyDomain).value_or(false))
        return 0;
    std::size_t copied = 0;
    for (const auto& key : legacy.keys()) {
        if (present.contains(key))
            continue;
        if (const auto value = legacy.value(key); value && present.setValue(key, *value))
            ++copied;
    }
    present.setBool(SettingsKeys::defaultsMigratedFromLegacyDomain, true);
    return copied;
}

std::size_t AppSettings::migrateLegacyDefaultsIfNeeded(DefaultsStore& present,
                                                       const std::filesystem::path& legacyFile) {
    if (present.boolValue(SettingsKeys::defaultsMigratedFromLegacyDomain).value_or(false))
        return 0;
    const DefaultsStore legacy{legacyFile};
    return migrateLegacyDefaultsIfNeeded(present, legacy);
}

std::filesystem::path AppSettings::legacyDefaultsFilePath() {
    return DefaultsStore::defaultFilePath(legacyFolderName);
}

} // namespace orvane
