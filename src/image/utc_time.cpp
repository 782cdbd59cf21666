#include "image/utc_time.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace image {

namespace {

/// Whether `text` has the form of `sample`, in which 0 stands for any digit.
bool HasForm(std::u16string_view text, std::u16string_view sample) {
    return std::equal(text.begin(), text.end(), sample.begin(), sample.end(),
                      [](char16_t character, char16_t expected) {
                          return expected == u'0' ? character >= u'0' && character <= u'9'
                                                  : character == expected;
                      });
}

}  // namespace

std::optional<std::chrono::sys_time<std::chrono::milliseconds>> ParseUtc(std::u16string_view text) {
    const auto number = [&](std::size_t place, std::size_t length) {
        int value = 0;
        for (const char16_t digit : text.substr(place, length))
            value = value * 10 + (digit - u'0');
        return value;
    };
    const bool hasMilliseconds = HasForm(text, u"0000-00-00T00:00:00.000Z");
    if (hasMilliseconds || HasForm(text, u"0000-00-00T00:00:00Z")) {
        const std::chrono::year_month_day date(
            std::chrono::year(number(0, 4)),
            std::chrono::month(static_cast<unsigned>(number(5, 2))),
            std::chrono::day(static_cast<unsigned>(number(8, 2))));
        if (date.ok() && number(11, 2) < 24 && number(14, 2) < 60 && number(17, 2) < 60)
            return std::chrono::sys_days(date) + std::chrono::hours(number(11, 2)) +
                   std::chrono::minutes(number(14, 2)) + std::chrono::seconds(number(17, 2)) +
                   std::chrono::milliseconds(hasMilliseconds ? number(20, 3) : 0);
    }
    return std::nullopt;
}

std::string FormatUtc(std::chrono::sys_time<std::chrono::milliseconds> utc) {
    const auto day = std::chrono::floor<std::chrono::days>(utc);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(utc - day);
    std::array<char, 64> text{};
    const int length = std::snprintf(
        text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
        static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
        static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
        static_cast<int>(time.subseconds().count()));
    return {text.data(), text.data() + length};
}

}  // namespace image
