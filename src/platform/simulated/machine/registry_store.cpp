#include "platform/simulated/machine/registry_store.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace platform::simulated {

namespace {

struct RootName {
    std::u16string_view name;
    std::u16string_view place;
};

constexpr std::u16string_view kUsers = u"HKEY_USERS";

constexpr RootName kRootNames[] = {
    {u"HKEY_LOCAL_MACHINE", u"HKEY_LOCAL_MACHINE"},
    {u"HKEY_USERS", kUsers},
    {u"HKEY_CURRENT_USER", u""},  // depends on the account
    {u"HKEY_CLASSES_ROOT", u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes"},
    {u"HKEY_CURRENT_CONFIG",
     u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current"},
};

/// A number that no state of any registry had before.
std::uint64_t TakeGeneration() {
    static std::atomic<std::uint64_t> last = 0;
    return ++last;
}

void AppendCharacter(ValueData& data, char16_t character) {
    data.push_back(static_cast<BYTE>(character & 0xFFU));
    data.push_back(static_cast<BYTE>(character >> 8U));
}

}  // namespace

Registry::Registry() {
    keys_.Insert(u"HKEY_LOCAL_MACHINE");
    keys_.Insert(kUsers);
}

bool Registry::HasKey(std::u16string_view path) const {
    return keys_.Find(path) != nullptr;
}

void Registry::CreateKey(std::u16string_view path) {
    keys_.Insert(path);
    generation_ = TakeGeneration();
}

void Registry::RemoveKey(std::u16string_view path) {
    keys_.Remove(path);
    if (path.find(u'\\') == std::u16string_view::npos)
        keys_.Insert(path);
    generation_ = TakeGeneration();
}

const RegistryValue* Registry::FindValue(std::u16string_view path, std::u16string_view name) const {
    const RegistryValues* values = keys_.Find(path);
    if (values == nullptr)
        return nullptr;
    const auto found = values->find(name);
    return found == values->end() ? nullptr : &found->second;
}

void Registry::SetValue(std::u16string_view path, std::u16string_view name, DWORD type,
                        ValueData data) {
    RegistryValues& values = keys_.Insert(path);
    const auto place = values.find(name);
    RegistryValue& value = place != values.end() ? place->second : values[std::u16string(name)];
    value.type = type;
    value.data = std::move(data);
    generation_ = TakeGeneration();
}

void Registry::SetText(std::u16string_view path, std::u16string_view name,
                       std::u16string_view text) {
    SetValue(path, name, REG_SZ, MakeTextData(text));
}

void Registry::SetDword(std::u16string_view path, std::u16string_view name, DWORD number) {
    ValueData data;
    AppendCharacter(data, static_cast<char16_t>(number));
    AppendCharacter(data, static_cast<char16_t>(number >> 16U));
    SetValue(path, name, REG_DWORD, std::move(data));
}

void Registry::ReplaceEnd(std::u16string_view path, std::u16string_view name, std::size_t dropped,
                          const ValueData& more) {
    ValueData& data = keys_.FindToChange(path)->find(name)->second.data;
    data.erase(data.end() - static_cast<std::ptrdiff_t>(std::min(dropped, data.size())),
               data.end());
    data.insert(data.end(), more.begin(), more.end());
    generation_ = TakeGeneration();
}

void Registry::RemoveValue(std::u16string_view path, std::u16string_view name) {
    if (RegistryValues* values = keys_.FindToChange(path))
        values->erase(std::u16string(name));
    generation_ = TakeGeneration();
}

std::optional<std::u16string> MakeCanonicalKeyPath(std::u16string_view path,
                                                   std::u16string_view account) {
    if (path.ends_with(u'\\') || path.find(u"\\\\") != std::u16string_view::npos)
        return std::nullopt;
    const std::u16string_view root = path.substr(0, path.find(u'\\'));
    const std::u16string foldedRoot = FoldCase(root);
    for (const RootName& known : kRootNames) {
        if (foldedRoot != known.name)
            continue;
        std::u16string canonical(known.place);
        if (canonical.empty())
            canonical.append(kUsers).append(u"\\").append(account);
        return canonical.append(path.substr(root.size()));
    }
    return std::nullopt;
}

ValueData MakeTextData(std::u16string_view text) {
    ValueData data;
    data.reserve((text.size() + 1) * sizeof(char16_t));
    for (const char16_t character : text)
        AppendCharacter(data, character);
    AppendCharacter(data, u'\0');
    return data;
}

std::u16string GetCharacters(const ValueData& data) {
    std::u16string characters;
    characters.reserve(data.size() / sizeof(char16_t));
    for (std::size_t i = 1; i < data.size(); i += 2)
        characters.push_back(static_cast<char16_t>(data[i] << 8U | data[i - 1]));
    return characters;
}

std::u16string GetText(const ValueData& data) {
    std::u16string text = GetCharacters(data);
    text.resize(std::min(text.find(u'\0'), text.size()));
    return text;
}

std::optional<DWORD> GetDword(const RegistryValue* value) {
    if (value == nullptr || value->type != REG_DWORD || value->data.size() != sizeof(DWORD))
        return std::nullopt;
    const std::u16string halves = GetCharacters(value->data);
    return static_cast<DWORD>(halves[1]) << 16U | halves[0];
}

std::vector<std::u16string> GetTextList(const ValueData& data) {
    const std::u16string characters = GetCharacters(data);
    std::vector<std::u16string> texts;
    std::u16string_view rest = characters;
    while (!rest.empty() && rest.front() != u'\0') {
        texts.emplace_back(rest.substr(0, rest.find(u'\0')));
        rest.remove_prefix(std::min(texts.back().size() + 1, rest.size()));
    }
    return texts;
}

}  // namespace platform::simulated
