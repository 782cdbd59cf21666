#include "image/package_section.h"

#include "image/ini_text.h"
#include "platform/files.h"
#include "platform/simulated/machine/full_path.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace image {

namespace {

using platform::simulated::DecodeUtf8;
using platform::simulated::Drive;
using platform::simulated::EncodeUtf8;
using platform::simulated::FileNode;
using platform::simulated::PackageReading;

struct StepName {
    PackageReading::Step step;
    std::u16string_view name;
};

constexpr std::array kSteps = {StepName{PackageReading::Step::Open, u"open"},
                               StepName{PackageReading::Step::Query, u"query"},
                               StepName{PackageReading::Step::Execute, u"execute"}};

/// Whether a path is that of a file which Windows could have on drive C:, in its full form.
bool IsFilePath(std::u16string_view path) {
    constexpr std::u16string_view kRoot = u"C:\\";
    if (path.size() <= kRoot.size())
        return false;
    for (path.remove_prefix(kRoot.size()); !path.empty();) {
        const std::u16string_view name = path.substr(0, path.find(u'\\'));
        if (!platform::simulated::IsPossibleFileName(name))
            return false;
        path.remove_prefix(std::min(name.size() + 1, path.size()));
    }
    return true;
}

/// Makes sure that the drive has neither something at `path` nor a file above it.
void CheckPlace(const Drive& drive, const std::u16string& path) {
    if (const FileNode* node = drive.Find(path))
        throw LineError(Quote(path) + (node->reading       ? " stands in a second [package]"
                                       : node->isDirectory ? " is a folder of drive C: as well"
                                                           : " is a file in C/ as well"));
    for (std::size_t end = path.rfind(u'\\'); end != std::u16string::npos;
         end = path.rfind(u'\\', end - 1)) {
        const FileNode* node = drive.Find(path.substr(0, end));
        if (node != nullptr && !node->isDirectory)
            throw LineError(Quote(path) + " lies below " + Quote(path.substr(0, end)) +
                            ", which is a file");
    }
}

std::u16string ParsePackagePath(const Drive& drive, std::u16string_view value) {
    const std::u16string given =
        value.starts_with(u'"') ? ParseQuotedText(value) : std::u16string(value);
    const auto path = platform::simulated::ResolvePath(given);
    if (!path || !IsFilePath(*path))
        throw LineError(Quote(given) + " is not the absolute path of a file on drive C:");
    CheckPlace(drive, *path);
    return *path;
}

std::uint32_t ParseAttributes(std::u16string_view value) {
    constexpr std::u16string_view kPrefix = u"0x";
    const std::string meaning = "the attribute bits of a file, such as 0x20";
    if (!value.starts_with(kPrefix))
        throw LineError(Quote(value) + " is not " + meaning);
    const auto attributes = ParseNumber<std::uint32_t>(
        value.substr(kPrefix.size()), 0, std::numeric_limits<std::uint32_t>::max(), meaning, 16);
    if ((attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0)
        throw LineError(Quote(value) + " has the bit of a folder");
    return attributes;
}

PackageReading ParseFailure(std::u16string_view value) {
    const std::u16string_view name = value.substr(0, value.find(u' '));
    const auto* step = std::find_if(kSteps.begin(), kSteps.end(),
                                    [&](const StepName& known) { return known.name == name; });
    if (step == kSteps.end())
        throw LineError(Quote(name) + " is not a step of reading a package (open, query, execute)");
    return {step->step, ParseErrorCode(Trim(value.substr(name.size()))), {}};
}

PackageReading ParseReading(std::u16string_view key, std::u16string_view value) {
    if (key == u"failed")
        return ParseFailure(value);
    return {PackageReading::Step::None, 0, ParseQuotedText(value)};
}

/// The path as it is, or in quotes if UTF-8 cannot hold it.
std::string FormatPath(const std::u16string& path) {
    std::string plain = EncodeUtf8(path);
    return DecodeUtf8(plain) == path ? plain : EncodeUtf8(FormatQuotedText(path));
}

std::string FormatReading(const PackageReading& reading) {
    for (const StepName& step : kSteps) {
        if (step.step == reading.failedStep)
            return "failed = " + EncodeUtf8(step.name) + " " + std::to_string(reading.error);
    }
    return "description = " + EncodeUtf8(FormatQuotedText(reading.description));
}

std::string FormatHex(std::uint32_t number) {
    std::array<char, 8> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
    return "0x" + std::string(digits.data(), end);
}

}  // namespace

void ReadPackageLine(const Drive& drive, PackageSection& section, std::u16string_view key,
                     std::u16string_view value) {
    if (key == u"path") {
        section.path = ParsePackagePath(drive, value);
    } else if (key == u"size") {
        section.size = ParseNumber<std::uintmax_t>(
            value, 0, std::numeric_limits<std::uintmax_t>::max(), "a number of bytes");
    } else if (key == u"attributes") {
        section.attributes = ParseAttributes(value);
    } else if (key == u"description" || key == u"failed") {
        if (section.reading)
            throw LineError("there is a description as well as a failure");
        section.reading = ParseReading(key, value);
    } else {
        throw LineError(Quote(key) +
                        " is not a key of this section (path, size, attributes, description, "
                        "failed)");
    }
}

void AddPackage(const PackageSection& section, Drive& drive) {
    const auto require = [&](bool isThere, const char* what) {
        if (!isThere)
            throw LineError(std::string("the package has no ") + what, section.line);
    };
    require(!section.path.empty(), "path");
    require(section.size.has_value(), "size");
    require(section.reading.has_value(), "description and no failed step");
    FileNode& node = drive.AddFile(section.path, {});
    node.size = *section.size;
    node.isReadOnly = (section.attributes & platform::FILE_ATTRIBUTE_READONLY) != 0;
    node.otherAttributes = section.attributes & ~platform::FILE_ATTRIBUTE_READONLY;
    node.reading = section.reading;
}

std::string FormatPackages(const Drive& drive) {
    std::string text;
    drive.GetNodes().Walk([&](const std::u16string& path, const FileNode& node) {
        if (node.reading)
            text += "\n[package]\npath = " + FormatPath(path) +
                    "\nsize = " + std::to_string(node.size) +
                    "\nattributes = " + FormatHex(platform::simulated::GetAttributes(node)) + "\n" +
                    FormatReading(*node.reading) + "\n";
    });
    return text;
}

}  // namespace image
