#pragma once

#include "platform/registry.h"
#include "platform/simulated/machine/caseless_tree.h"

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

namespace platform::simulated {

/// The bytes of a value as they are stored: a text in UTF-16, little-endian.
using ValueData = std::vector<BYTE>;

struct RegistryValue {
    DWORD type = REG_NONE;
    ValueData data;
};

/// Values by their names in the spelling of their first use; the default value's is empty.
using RegistryValues = std::map<std::u16string, RegistryValue, CaselessLess>;

/// The registry of a simulated machine.
///
/// It has two hives, HKEY_LOCAL_MACHINE and HKEY_USERS; what Windows shows as others are keys in
/// these. Paths begin with a hive and are canonical, see MakeCanonicalKeyPath.
class Registry {
  public:
    using Keys = CaselessTree<RegistryValues>;

    Registry();

    [[nodiscard]] bool HasKey(std::u16string_view path) const;
    void CreateKey(std::u16string_view path);
    /// Removes a key and all below it. Of a hive only what is in it goes.
    void RemoveKey(std::u16string_view path);

    /// The value, or null if it or its key is missing.
    [[nodiscard]] const RegistryValue* FindValue(std::u16string_view path,
                                                 std::u16string_view name) const;
    /// Sets a value, making its key if that is missing.
    void SetValue(std::u16string_view path, std::u16string_view name, DWORD type, ValueData data);
    void SetText(std::u16string_view path, std::u16string_view name, std::u16string_view text);
    void SetDword(std::u16string_view path, std::u16string_view name, DWORD number);
    /// Takes `dropped` bytes from the end of a value that is there, and puts others in their place.
    void ReplaceEnd(std::u16string_view path, std::u16string_view name, std::size_t dropped,
                    const ValueData& more);
    void RemoveValue(std::u16string_view path, std::u16string_view name);

    /// All keys, with their values.
    [[nodiscard]] const Keys& GetKeys() const {
        return keys_;
    }

    /// Another number after every change, of this or any other registry, so that what was worked
    /// out from the registry can be kept until then.
    [[nodiscard]] std::uint64_t GetGeneration() const {
        return generation_;
    }

  private:
    Keys keys_;
    std::uint64_t generation_ = 0;
};

/// A full key path with its first part replaced by the hive that it stands for: HKEY_CURRENT_USER
/// is the key of `account` in HKEY_USERS. Nothing if the first part is no such name (in any letter
/// case) or a part is empty.
[[nodiscard]] std::optional<std::u16string> MakeCanonicalKeyPath(std::u16string_view path,
                                                                 std::u16string_view account);

/// The bytes of a text and its terminator.
[[nodiscard]] ValueData MakeTextData(std::u16string_view text);

/// The 16-bit characters that the data holds; an odd byte at its end is left out.
[[nodiscard]] std::u16string GetCharacters(const ValueData& data);

/// The text of a value: its characters up to the first NUL.
[[nodiscard]] std::u16string GetText(const ValueData& data);

/// The number in a value of type REG_DWORD with 4 bytes; nothing for any other value or none.
[[nodiscard]] std::optional<DWORD> GetDword(const RegistryValue* value);

/// The texts of a REG_MULTI_SZ, up to the empty one that ends it.
[[nodiscard]] std::vector<std::u16string> GetTextList(const ValueData& data);

}  // namespace platform::simulated
