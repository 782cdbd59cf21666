#pragma once

#include "platform/simulated/texts/unicode.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

/// What the lines of machine.ini are made of.
namespace image {

/// Why a line is not understood; the reader adds the place.
class LineError : public std::runtime_error {
  public:
    /// `line` is the line at fault where that is another one than the one just read.
    explicit LineError(const std::string& reason, std::size_t line = 0)
        : std::runtime_error(reason), line_(line) {}

    [[nodiscard]] std::size_t GetLine() const {
        return line_;
    }

  private:
    std::size_t line_;
};

/// A text out of a line, as an error shows it.
[[nodiscard]] std::string Quote(std::u16string_view text);

/// A text without blanks at its ends.
[[nodiscard]] std::u16string_view Trim(std::u16string_view text);

/// The number that a text is, of digits to `base`. Throws LineError, which calls it `meaning`,
/// unless it is all of the text and lies between the two bounds.
template <typename Number>
Number ParseNumber(std::u16string_view text, Number lowest, Number highest,
                   const std::string& meaning, int base = 10) {
    const std::string digits = platform::simulated::EncodeUtf8(text);
    Number number{};
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, base);
    if (error != std::errc() || stop != end || number < lowest || number > highest)
        throw LineError(Quote(text) + " is not " + meaning + " (" + std::to_string(lowest) +
                        " to " + std::to_string(highest) + ")");
    return number;
}

/// An error code of Windows, which is not 0.
[[nodiscard]] std::uint32_t ParseErrorCode(std::u16string_view text);

/// A text in quotes, in which a backslash stands in front of a backslash, a quote, or u and the
/// four hexadecimal digits of a character. Throws LineError for any other and for a NUL.
[[nodiscard]] std::u16string ParseQuotedText(std::u16string_view quoted);

/// A text as ParseQuotedText reads it, on one line: control characters and surrogates without their
/// other half are written as digits.
[[nodiscard]] std::u16string FormatQuotedText(std::u16string_view text);

}  // namespace image
