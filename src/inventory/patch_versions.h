#pragma once

#include <string>
#include <string_view>

/// What the texts of a patch mean: its dotted version, its ten-digit number, its type.
///
/// Pure text work. Digits are 0 to 9. Nothing here is parsed into numbers, so leading zeros count.
namespace saltrove {

/// The type of a patch. It is a text, which is also what the log and the registry show.
using PatchType = std::u16string_view;
inline constexpr PatchType kCumulative = u"Cumulative";
inline constexpr PatchType kIncremental = u"Incremental";
inline constexpr PatchType kUnknownType = u"Unknown";

/// The first dotted version in parentheses: "(", at least two numbers parted by single dots, ")",
/// and nothing else between them. Returned without the parentheses; empty if there is none. Finds
/// what a search for `\((\d+(?:\.\d+)+)\)` captures.
[[nodiscard]] std::u16string ExtractVersionFromDisplayName(std::u16string_view displayName);

/// The first ten digits in a row, whatever touches them on either side; empty if there are none.
/// Finds what a search for `(\d{10})` captures.
[[nodiscard]] std::u16string ExtractVersionNumber(std::u16string_view packageName);

/// A dotted version cut before its third dot; unchanged where it has fewer.
[[nodiscard]] std::u16string NormalizeVersion(std::u16string_view version);

/// Orders two ten-digit numbers: -1 if `a` is lower, 1 if it is higher, by characters 0 and 1 and
/// then by 5 to 9. The characters between them have no part in it, so 0 does not mean that the
/// texts are equal. 0 also if either text is not ten characters long.
[[nodiscard]] int CompareVersionNumbers(std::u16string_view a, std::u16string_view b);

/// Whether a package name marks an incremental patch: it holds "_incr", in small letters.
[[nodiscard]] bool IsIncrementalPackage(std::u16string_view packageName);

/// The type that a package name stands for; kUnknownType for an empty name and for no other.
[[nodiscard]] PatchType PatchTypeOfPackage(std::u16string_view packageName);

}  // namespace saltrove
