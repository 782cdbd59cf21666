#include "platform/simulated/texts/short_name.h"

#include <algorithm>
#include <cstddef>

namespace platform::simulated {

namespace {

constexpr std::size_t kBaseLength = 8;
constexpr std::size_t kExtensionLength = 3;
constexpr std::u16string_view kReplaced = u"+,;=[]";

/// The first characters of a part of a name that a short name can have, blanks and dots left out.
std::u16string Shorten(std::u16string_view part, std::size_t length) {
    std::u16string shortened;
    for (const char16_t character : part) {
        if (character == u' ' || character == u'.')
            continue;
        const bool isReplaced = kReplaced.find(character) != std::u16string_view::npos;
        shortened.push_back(isReplaced ? u'_' : character);
    }
    return shortened.substr(0, length);
}

}  // namespace

std::u16string MakeShortName(std::u16string_view longName) {
    // A dot at the beginning parts no extension from the name.
    const std::size_t lastDot = longName.rfind(u'.');
    const bool hasExtension =
        lastDot != std::u16string_view::npos && longName.find_first_not_of(u'.') < lastDot;
    const std::u16string_view base = hasExtension ? longName.substr(0, lastDot) : longName;
    const std::u16string_view extension = hasExtension ? longName.substr(lastDot + 1) : u"";
    const bool isShort = base.size() <= kBaseLength && extension.size() <= kExtensionLength &&
                         Shorten(base, kBaseLength) == base &&
                         Shorten(extension, kExtensionLength) == extension;
    if (isShort)
        return {};
    std::u16string name = Shorten(base, 6) + u"~1";
    if (const std::u16string shortened = Shorten(extension, kExtensionLength); !shortened.empty())
        name += u'.' + shortened;
    return name;
}

}  // namespace platform::simulated
