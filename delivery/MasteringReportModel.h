#pragma once
// The choices for the mastering report: the studio's details (kept in the user's defaults between
// runs when `persist` is on), the head lines of this report and which sections it shows. Changes go
// through the setters, which store what must be stored and then call onChange. Main thread only
// (a report being drawn takes a copy).

#include "platform/DefaultsStore.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

class MasteringReportModel final {
  public:
    static constexpr const char* studioNameKey = "reportStudioName";
    static constexpr const char* studioContactKey = "reportStudioContact";
    static constexpr const char* engineerKey = "reportEngineer";
    static constexpr const char* logoImageKey = "reportLogoImage"; // Base64 of the image's bytes

    // Reads the stored details from `defaults`; with `persist`, writes changes of them back.
    MasteringReportModel(DefaultsStore& defaults, bool persist);

    bool persist() const { return persist_; }
    const std::string& studioName() const { return studioName_; }
    const std::string& studioContact() const { return studioContact_; }
    const std::string& engineer() const { return engineer_; }
    const std::optional<std::vector<std::uint8_t>>& logoData() const { return logoData_; }
    const std::string& client() const { return client_; }
    const std::string& dateString() const { return dateString_; }
    bool includeSourceFiles() const { return includeSourceFiles_; }
    bool includeTrackNotes() const { return includeTrackNotes_; }

    void setStudioName(std::string value);
    void setStudioContact(std::string value);
    void setEngineer(std::string value);
    void setLogoData(std::optional<std::vector<std::uint8_t>> value);
    void setClient(std::string value);
    void setDateString(std::string value);
    void setIncludeSourceFiles(bool on);
    void setIncludeTrackNotes(bool on);

    std::function<void()> onChange;

  private:
    void storeText(const char* key, const std::string& value);
    void changed();

    DefaultsStore& defaults_;
    bool persist_;
    std::string studioName_;
    std::string studioContact_;
    std::string engineer_;
    std::optional<std::vector<std::uint8_t>> logoData_;
    std::string client_;
    std::string dateString_;
    bool includeSourceFiles_ = true;
    bool includeTrackNotes_ = false;
};

} // namespace orvane
