#include "model/Timestamp.h"

#include <chrono>
#include <cstdio>

namespace orvane {

namespace {

bool readDigits(std::string_view text, std::size_t at, std::size_t count, int& out) {
    if (at + count > text.size())
        return false;
    int value = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return false;
        value = value * 10 + (text[i] - '0');
    }
    out = value;
    return true;
}

} // namespace

Timestamp Timestamp::now() {
    using namespace std::chrono;
    return Timestamp{duration_cast<seconds>(system_clock::now().time_since_epoch()).count()};
}

Timestamp Timestamp::fromFileTime(std::filesystem::file_time_type time) {
    using namespace std::chrono;
    const auto system = std::chrono::file_clock::to_sys(time);
    return Timestamp{floor<seconds>(system.time_since_epoch()).count()};
}

std::optional<Timestamp> Timestamp::parseISO8601(std::string_view text) {
    using namespace std::chrono;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!readDigits(text, 0, 4, year) || text.size() < 20 || text[4] != '-' ||
        !readDigits(text, 5, 2, month) || text[7] != '-' || !readDigits(text, 8, 2, day) ||
        (text[10] != 'T' && text[10] != 't') || !readDigits(text, 11, 2, hour) || text[13] != ':' ||
        !readDigits(text, 14, 2, minute) || text[16] != ':' || !readDigits(text, 17, 2, second))
        return std::nullopt;
    const year_month_day ymd{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                             std::chrono::day{static_cast<unsigned>(day)}};
    if (!ymd.ok() || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    std::size_t at = 19;
    if (at < text.size() && text[at] == '.') {
        ++at;
        const std::size_t digitsStart = at;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9')
            ++at;
        if (at == digitsStart)
            return std::nullopt;
    }
    int offsetSeconds = 0;
    if (at < text.size() && (text[at] == 'Z' || text[at] == 'z')) {
        ++at;
    } else if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
        int oh = 0, om = 0;
        const bool colon = at + 3 < text.size() && text[at + 3] == ':';
        if (!readDigits(text, at + 1, 2, oh) || !readDigits(text, at + (colon ? 4 : 3), 2, om) || oh > 23 ||
            om > 59)
            return std::nullopt;
        offsetSeconds = (oh * 3600 + om * 60) * (text[at] == '-' ? -1 : 1);
        at += colon ? 6 : 5;
    } else {
        return std::nullopt;
    }
    if (at != text.size())
        return std::nullopt;
    const auto days = sys_days{ymd}.time_since_epoch().count();
    const std::int64_t seconds =
        static_cast<std::int64_t>(days) * 86400 + hour * 3600 + minute * 60 + second - offsetSeconds;
    return Timestamp{seconds};
}

std::string Timestamp::iso8601() const {
    using namespace std::chrono;
    const sys_seconds point{seconds{secondsSinceEpoch}};
    const auto dayPoint = floor<days>(point);
    const year_month_day ymd{dayPoint};
    const hh_mm_ss hms{point - dayPoint};
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(ymd.year()),
                  static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                  static_cast<int>(hms.hours().count()), static_cast<int>(hms.minutes().count()),
                  static_cast<int>(hms.seconds().count()));
    return buffer;
}

} // namespace orvane
