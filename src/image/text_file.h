#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// The text files of an image. All failures are thrown as ImageError.
namespace image {

/// The bytes of a file.
[[nodiscard]] std::string ReadBytes(const std::filesystem::path& path);

/// Decodes a UTF-8 text, with or without a byte-order mark. `file` is its name for errors. A NUL is
/// an error: no text of an image can hold one, and a UTF-16 file without a mark is full of them.
[[nodiscard]] std::u16string DecodeText(const std::string& file, std::string_view bytes);

/// Decodes a text that may also be UTF-16LE with a byte-order mark; there a surrogate without its
/// other half is kept, as Windows keeps it.
[[nodiscard]] std::u16string DecodeWindowsText(const std::string& file, std::string_view bytes);

}  // namespace image
