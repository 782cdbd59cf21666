#include "platform/simulated/machine/pending_renames.h"

#include <algorithm>

namespace platform::simulated {

namespace {

constexpr std::u16string_view kPrefix = u"\\??\\";

/// Takes the text at the start of the list away.
std::u16string TakeText(std::u16string_view& list) {
    const std::u16string_view text = list.substr(0, list.find(u'\0'));
    list.remove_prefix(std::min(text.size() + 1, list.size()));
    return std::u16string(text);
}

std::u16string RemovePrefix(const std::u16string& path) {
    return path.starts_with(kPrefix) ? path.substr(kPrefix.size()) : path;
}

/// The pairs of texts that are registered, as they stand there. An empty first text ends the list;
/// where a second one is missing it is empty.
std::vector<PendingRename> ReadPairs(const Registry& registry) {
    const RegistryValue* value = registry.FindValue(kPendingRenamesKey, kPendingRenamesValue);
    if (value == nullptr || value->type != REG_MULTI_SZ)
        return {};
    const std::u16string list = GetCharacters(value->data);
    std::vector<PendingRename> pairs;
    for (std::u16string_view rest = list; !rest.empty() && rest.front() != u'\0';) {
        PendingRename& pair = pairs.emplace_back();
        pair.path = TakeText(rest);
        pair.newPath = TakeText(rest);
    }
    return pairs;
}

}  // namespace

std::vector<PendingRename> ReadPendingRenames(const Registry& registry) {
    std::vector<PendingRename> renames = ReadPairs(registry);
    for (PendingRename& rename : renames) {
        rename.path = RemovePrefix(rename.path);
        rename.newPath = RemovePrefix(rename.newPath);
    }
    return renames;
}

void RegisterDeletion(Registry& registry, std::u16string_view path,
                      std::uint64_t& soundGeneration) {
    if (registry.GetGeneration() != soundGeneration) {
        std::u16string list;
        for (const PendingRename& pair : ReadPairs(registry))
            list.append(pair.path).append(1, u'\0').append(pair.newPath).append(1, u'\0');
        // The terminator that MakeTextData adds ends the list.
        registry.SetValue(kPendingRenamesKey, kPendingRenamesValue, REG_MULTI_SZ,
                          MakeTextData(list));
    }
    std::u16string pair(kPrefix);
    pair.append(path).append(2, u'\0');
    registry.ReplaceEnd(kPendingRenamesKey, kPendingRenamesValue, sizeof(char16_t),
                        MakeTextData(pair));
    soundGeneration = registry.GetGeneration();
}

bool IsPendingRenamesValue(std::u16string_view keyPath, std::u16string_view name) {
    return FoldCase(keyPath) == FoldCase(kPendingRenamesKey) &&
           FoldCase(name) == FoldCase(kPendingRenamesValue);
}

}  // namespace platform::simulated
