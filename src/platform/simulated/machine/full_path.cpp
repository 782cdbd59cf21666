#include "platform/simulated/machine/full_path.h"

#include "platform/files.h"
#include "platform/simulated/texts/letter_case.h"
#include "platform/wide_text.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace platform::simulated {

namespace {

constexpr std::u16string_view kSeparators = u"\\/";

bool IsSeparator(char16_t character) {
    return kSeparators.find(character) != std::u16string_view::npos;
}

bool BeginsWithDrive(std::u16string_view path) {
    return path.size() >= 2 && path[1] == u':' && !IsSeparator(path[0]);
}

/// The name in the form in which Windows looks for it: of the last one in a path all blanks and
/// dots at its end go, of the others a single dot.
std::u16string_view TrimName(std::u16string_view name, bool isLast) {
    if (isLast)
        return name.substr(0, name.find_last_not_of(u". ") + 1);
    return name.ends_with(u'.') ? name.substr(0, name.size() - 1) : name;
}

/// Goes down from `root`, which ends in a separator, by all the names of a path, and up for "..",
/// but never above the root and the first `kept` names below it.
std::u16string Descend(std::u16string root, std::size_t kept, std::u16string_view path) {
    std::vector<std::u16string_view> names;
    bool endsInSeparator = false;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find_first_of(kSeparators), path.size());
        const std::u16string_view name = path.substr(0, end);
        const bool isLast = end == path.size();
        path.remove_prefix(isLast ? end : end + 1);
        endsInSeparator = !isLast;
        if (name == u"." || name.empty())
            continue;
        if (name == u"..") {
            if (names.size() > kept)
                names.pop_back();
            continue;
        }
        names.push_back(TrimName(name, isLast));
        if (names.back().empty()) {
            names.pop_back();
            endsInSeparator = true;
        }
    }
    for (const std::u16string_view name : names)
        root.append(name).append(u"\\");
    if (!names.empty() && !endsInSeparator)
        root.pop_back();
    return root;
}

bool IsDeviceName(std::u16string_view name) {
    const bool isNumbered = name.size() == 4 && name[3] >= u'1' && name[3] <= u'9';
    const auto isName = [name = isNumbered ? name.substr(0, 3) : name](std::u16string_view device) {
        return EqualsIgnoringAsciiCase(name, device);
    };
    constexpr std::u16string_view kNumbered[] = {u"COM", u"LPT"};
    constexpr std::u16string_view kOthers[] = {u"CON", u"PRN", u"AUX", u"NUL"};
    return isNumbered ? std::ranges::any_of(kNumbered, isName)
                      : std::ranges::any_of(kOthers, isName);
}

/// The device that a path's last name stands for, whatever extension follows. Empty for none.
std::u16string_view FindDevice(std::u16string_view path) {
    std::u16string_view name = BeginsWithDrive(path) ? path.substr(2) : path;
    name.remove_prefix(name.find_last_of(kSeparators) + 1);
    name = name.substr(0, name.find_first_of(u".:"));
    name = name.substr(0, name.find_last_not_of(u' ') + 1);
    return IsDeviceName(name) ? name : std::u16string_view();
}

}  // namespace

std::u16string MakeFullPath(std::u16string_view path, std::u16string_view currentDirectory) {
    const std::u16string drive(currentDirectory.substr(0, 2));
    const bool isOnServer = path.size() > 1 && IsSeparator(path[0]) && IsSeparator(path[1]);
    if (isOnServer) {
        const bool isOfDevices = path.size() > 2 && (path[2] == u'.' || path[2] == u'?') &&
                                 (path.size() == 3 || IsSeparator(path[3]));
        if (isOfDevices)
            return Descend({u'\\', u'\\', path[2], u'\\'}, 0, path.substr(3));
        return Descend(u"\\\\", 2, path.substr(2));  // neither the server nor the share is left
    }
    if (const std::u16string_view device = FindDevice(path); !device.empty())
        return std::u16string(u"\\\\.\\").append(device);
    if (!path.empty() && IsSeparator(path.front()))
        return Descend(drive + u"\\", 0, path);
    std::u16string_view relative = path;
    if (BeginsWithDrive(path)) {
        relative.remove_prefix(2);
        const bool isElsewhere = ToUpper(path[0]) != ToUpper(drive[0]);
        if (isElsewhere || (!relative.empty() && IsSeparator(relative.front())))
            return Descend({path[0], u':', u'\\'}, 0, relative);
    }
    const std::u16string joined = std::u16string(currentDirectory).append(u"\\").append(relative);
    return Descend(drive + u"\\", 0, std::u16string_view(joined).substr(2));
}

std::optional<std::u16string> ResolvePath(std::u16string_view path) {
    const bool isAbsolute = path.size() > 2 && BeginsWithDrive(path) && IsSeparator(path[2]);
    if (!isAbsolute || ToUpper(path[0]) != u'C' || path.size() >= MAX_PATH)
        return std::nullopt;
    std::u16string full = Descend(u"C:\\", 0, path.substr(3));
    if (full.back() == u'\\')
        full.pop_back();
    return full;
}

}  // namespace platform::simulated
