#include "foundation/Date.h"

#include <fmt/format.h>

#include <chrono>

namespace varnelle {

Date Date::now() {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    return {now.time_since_epoch().count()};
}

std::optional<Date> Date::parseISO8601(std::string_view text) {
    constexpr std::string_view pattern = "dddd-dd-ddTdd:dd:ddZ";
    if (text.size() != pattern.size()) return std::nullopt;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (pattern[i] == 'd' ? !isDigit : text[i] != pattern[i]) return std::nullopt;
    }
    const auto number = [&](std::size_t at, std::size_t length) {
        int value = 0;
        for (char c : text.substr(at, length)) value = value * 10 + (c - '0');
        return value;
    };
    const std::chrono::year_month_day day{std::chrono::year(number(0, 4)),
                                          std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                          std::chrono::day(static_cast<unsigned>(number(8, 2)))};
    const int hour = number(11, 2);
    const int minute = number(14, 2);
    const int second = number(17, 2);
    if (!day.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
    const auto days = std::chrono::sys_days(day).time_since_epoch().count();
    return Date{std::int64_t{days} * 86400 + hour * 3600 + minute * 60 + second};
}

std::string Date::iso8601() const {
    const std::chrono::sys_seconds moment{std::chrono::seconds(secondsSinceEpoch)};
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       time.hours().count(), time.minutes().count(), time.seconds().count());
}

}  // namespace varnelle
