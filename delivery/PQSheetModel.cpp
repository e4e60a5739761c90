#include "delivery/PQSheetModel.h"

#include <array>
#include <cstdio>

namespace orvane {

std::string PQSheetModel::mediumDateText(const std::tm& date) {
    // Month names are spelled out here rather than taken from the C locale, which a host may set
    // to another language; the sheet goes to a plant in English.
    static constexpr std::array<const char*, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const int month = date.tm_mon >= 0 && date.tm_mon < 12 ? date.tm_mon : 0;
    char text[48];
    std::snprintf(text, sizeof text, "%s %d, %d", months[static_cast<std::size_t>(month)], date.tm_mday,
                  date.tm_year + 1900);
    return text;
}

std::string PQSheetModel::todayDateText() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return mediumDateText(local);
}

} // namespace orvane
