#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// Small operations on wide texts (`std::u16string`), for which the standard library has none.
namespace platform {

/// The number in plain decimal, with a minus sign where it is negative.
[[nodiscard]] std::u16string FormatDecimal(std::int64_t number);

/// The text in a buffer: up to its first NUL, and at most to the buffer's end.
[[nodiscard]] std::u16string ReadBuffer(std::span<const char16_t> buffer);

/// What stands behind the last backslash of a path; the whole path where it has none.
[[nodiscard]] std::u16string_view GetFileName(std::u16string_view path);

/// Adds an item to a list of items joined by ";", which is empty without any.
void AppendToList(std::u16string& list, std::u16string_view item);

/// A to Z as a to z, every other character unchanged: letter case in the classic locale.
[[nodiscard]] char16_t ToLowerAscii(char16_t character);

/// Whether two texts are equal when A to Z count as a to z.
[[nodiscard]] bool EqualsIgnoringAsciiCase(std::u16string_view a, std::u16string_view b);

}  // namespace platform
