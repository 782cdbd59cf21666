#include "platform/simulated/pending_renames.h"

#include <algorithm>

namespace platform::simulated {

namespace {

constexpr std::u16string_view kKeyPath =
    u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr std::u16string_view kValueName = u"PendingFileRenameOperations";
constexpr std::u16string_view kPrefix = u"\\??\\";

/// The list's texts, each with its terminator, without the NUL that ends the list.
std::u16string ReadList(const Registry& registry) {
    const RegistryValue* value = registry.FindValue(kKeyPath, kValueName);
    if (value == nullptr || value->type != REG_MULTI_SZ)
        return {};
    std::u16string list = CharactersIn(value->data);
    if (list.ends_with(u'\0'))
        list.pop_back();
    return list;
}

/// Takes the text at the start of the list away.
std::u16string TakeText(std::u16string_view& list) {
    std::u16string_view text = list.substr(0, list.find(u'\0'));
    list.remove_prefix(std::min(text.size() + 1, list.size()));
    if (text.starts_with(kPrefix))
        text.remove_prefix(kPrefix.size());
    return std::u16string(text);
}

}  // namespace

std::vector<PendingRename> ReadPendingRenames(const Registry& registry) {
    const std::u16string list = ReadList(registry);
    std::vector<PendingRename> renames;
    for (std::u16string_view rest = list; !rest.empty();) {
        PendingRename& rename = renames.emplace_back();
        rename.path = TakeText(rest);
        rename.newPath = TakeText(rest);
    }
    return renames;
}

void RegisterDeletion(Registry& registry, std::u16string_view path) {
    std::u16string list = ReadList(registry);
    list.append(kPrefix).append(path).append(2, u'\0');
    // The terminator that DataOfText adds ends the list.
    registry.SetValue(kKeyPath, kValueName, REG_MULTI_SZ, DataOfText(list));
}

bool IsPendingRenamesValue(std::u16string_view keyPath, std::u16string_view name) {
    return FoldCase(keyPath) == FoldCase(kKeyPath) && FoldCase(name) == FoldCase(kValueName);
}

}  // namespace platform::simulated
