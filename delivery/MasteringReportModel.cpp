#include "delivery/MasteringReportModel.h"

#include "delivery/PQSheetModel.h"
#include "platform/Base64.h"

namespace orvane {

MasteringReportModel::MasteringReportModel(DefaultsStore& defaults, bool persist)
    : defaults_(defaults), persist_(persist), studioName_(defaults.stringValue(studioNameKey).value_or("")),
      studioContact_(defaults.stringValue(studioContactKey).value_or("")),
      engineer_(defaults.stringValue(engineerKey).value_or("")), dateString_(PQSheetModel::todayDateText()) {
    if (const auto logo = defaults.stringValue(logoImageKey))
        logoData_ = Base64::decode(*logo);
}

void MasteringReportModel::changed() {
    if (onChange)
        onChange();
}

void MasteringReportModel::storeText(const char* key, const std::string& value) {
    if (persist_)
        defaults_.setString(key, value);
}

void MasteringReportModel::setStudioName(std::string value) {
    studioName_ = std::move(value);
    storeText(studioNameKey, studioName_);
    changed();
}

void MasteringReportModel::setStudioContact(std::string value) {
    studioContact_ = std::move(value);
    storeText(studioContactKey, studioContact_);
    changed();
}

void MasteringReportModel::setEngineer(std::string value) {
    engineer_ = std::move(value);
    storeText(engineerKey, engineer_);
    changed();
}

void MasteringReportModel::setLogoData(std::optional<std::vector<std::uint8_t>> value) {
    logoData_ = std::move(value);
    if (persist_) {
        if (logoData_)
            defaults_.setString(logoImageKey, Base64::encode(*logoData_));
        else
            defaults_.remove(logoImageKey);
    }
    changed();
}

void MasteringReportModel::setClient(std::string value) {
    client_ = std::move(value);
    changed();
}

void MasteringReportModel::setDateString(std::string value) {
    dateString_ = std::move(value);
    changed();
}

void MasteringReportModel::setIncludeSourceFiles(bool on) {
    includeSourceFiles_ = on;
    changed();
}

void MasteringReportModel::setIncludeTrackNotes(bool on) {
    includeTrackNotes_ = on;
    changed();
}

} // namespace orvane
