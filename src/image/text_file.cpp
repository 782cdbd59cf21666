#include "image/text_file.h"

#include "image/host_path.h"
#include "image/image_error.h"
#include "platform/simulated/machine/drive.h"
#include "platform/simulated/texts/unicode.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace image {

namespace {

using platform::simulated::DecodeUtf8;
using platform::simulated::kUtf8Mark;

constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";

template <typename Text>
std::size_t CountLines(const Text& text, std::size_t place) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(place);
    return 1 + static_cast<std::size_t>(std::count(text.begin(), end, '\n'));
}

std::u16string RejectNul(const std::string& file, std::u16string text) {
    if (const std::size_t nul = text.find(u'\0'); nul != std::u16string::npos)
        throw ImageError(file, CountLines(text, nul),
                         "a NUL character (UTF-16 needs its byte-order mark)");
    return text;
}

std::u16string DecodeUtf16(const std::string& file, std::string_view bytes) {
    std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
    if (bytes.size() % sizeof(char16_t) != 0)
        throw ImageError(file, CountLines(text, text.size()),
                         "an odd number of bytes in a UTF-16 file");
    return text;
}

}  // namespace

std::string ReadBytes(const std::filesystem::path& path) {
    try {
        return platform::simulated::ReadHostFile(path);
    } catch (const platform::simulated::HostFileError& error) {
        throw ImageError(ShowPath(path), 0, error.what());
    }
}

std::u16string DecodeText(const std::string& file, std::string_view bytes) {
    if (bytes.starts_with(kUtf8Mark))
        bytes.remove_prefix(kUtf8Mark.size());
    std::size_t invalidAt = 0;
    std::optional<std::u16string> text = DecodeUtf8(bytes, invalidAt);
    if (!text)
        throw ImageError(file, CountLines(bytes, invalidAt), "invalid UTF-8");
    return RejectNul(file, *std::move(text));
}

std::u16string DecodeWindowsText(const std::string& file, std::string_view bytes) {
    if (bytes.starts_with(kUtf16BigMark))
        throw ImageError(file, 1, "big-endian UTF-16 (Windows writes little-endian)");
    if (!bytes.starts_with(kUtf16LittleMark))
        return DecodeText(file, bytes);
    return RejectNul(file, DecodeUtf16(file, bytes.substr(kUtf16LittleMark.size())));
}

}  // namespace image
