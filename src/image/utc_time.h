#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace image {

/// A moment such as 2026-11-18T07:37:42.123Z, or without the milliseconds. Nothing for any other
/// text and for a date that does not exist.
[[nodiscard]] std::optional<std::chrono::sys_time<std::chrono::milliseconds>>
ParseUtc(std::u16string_view text);

/// The moment in the first of these forms.
[[nodiscard]] std::string FormatUtc(std::chrono::sys_time<std::chrono::milliseconds> utc);

}  // namespace image
