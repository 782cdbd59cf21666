#include "platform/registry.h"

#include "platform/simulated/calls/handles.h"
#include "platform/simulated/machine/machine.h"
#include "platform/wide_text.h"

#include <algorithm>
#include <optional>

namespace platform {

namespace {

using simulated::GetCurrentMachine;
using simulated::Machine;
using simulated::OpenKey;
using simulated::RegistryValue;

constexpr DWORD KEY_ALL_ACCESS = 0xF003F;

struct PredefinedKeyName {
    HKEY key;
    std::u16string_view name;
};

/// What a key handle stands for; nothing if it is neither predefined nor open.
std::optional<OpenKey> LookUpKey(Machine& machine, HKEY key) {
    const PredefinedKeyName names[] = {
        {HKEY_CLASSES_ROOT, u"HKEY_CLASSES_ROOT"},     {HKEY_CURRENT_USER, u"HKEY_CURRENT_USER"},
        {HKEY_LOCAL_MACHINE, u"HKEY_LOCAL_MACHINE"},   {HKEY_USERS, u"HKEY_USERS"},
        {HKEY_CURRENT_CONFIG, u"HKEY_CURRENT_CONFIG"},
    };
    for (const PredefinedKeyName& predefined : names) {
        if (predefined.key == key)
            return OpenKey{
                *simulated::MakeCanonicalKeyPath(predefined.name, machine.process.account),
                KEY_ALL_ACCESS,
                {}};
    }
    const auto found = machine.open.keys.find(simulated::ToNumber(key));
    if (found != machine.open.keys.end())
        return found->second;
    ++machine.badHandles;
    return std::nullopt;
}

LSTATUS ToStatus(DWORD code) {
    return static_cast<LSTATUS>(code);
}

/// The full path of a key to open or create, or the error that its form gives.
LSTATUS JoinKeyPath(const OpenKey& parent, std::u16string_view subKey, std::u16string& path) {
    const bool isAbsolute = subKey.starts_with(u'\\');
    subKey = subKey.substr(0, subKey.find_last_not_of(u'\\') + 1);
    if (isAbsolute || subKey.find(u"\\\\") != std::u16string_view::npos)
        return ToStatus(ERROR_BAD_PATHNAME);
    path = parent.path;
    if (!subKey.empty())
        path.append(u"\\").append(subKey);
    return ToStatus(ERROR_SUCCESS);
}

/// Begins a call that opens or creates a key, whose full path it works out; 0 if it may go on.
LSTATUS BeginKeyCall(Machine& machine, const char* call, HKEY key, const char16_t* subKey,
                     std::initializer_list<std::uint64_t> numbers, std::u16string& path) {
    const std::optional<OpenKey> parent = LookUpKey(machine, key);
    if (!parent)
        return ToStatus(ERROR_INVALID_HANDLE);
    const LSTATUS joined = JoinKeyPath(*parent, subKey == nullptr ? u"" : subKey, path);
    const std::optional<DWORD> fault = machine.BeginCall(call, path, numbers);
    return fault ? ToStatus(*fault) : joined;
}

HKEY HandOut(Machine& machine, std::u16string path, DWORD access) {
    const std::uintptr_t handle = machine.MakeHandle();
    machine.open.keys[handle] = {std::move(path), access, {}};
    return simulated::ToHandle<HKEY>(handle);
}

constexpr DWORD kNulSize = sizeof(char16_t);

bool IsText(DWORD type) {
    return type == REG_SZ || type == REG_MULTI_SZ;
}

bool EndsInNul(const BYTE* bytes, std::size_t size) {
    return size >= kNulSize && bytes[size - 1] == 0 && bytes[size - 2] == 0;
}

/// The name by which faults and call records know a value.
std::u16string MakeValueSubject(const OpenKey& key, const char16_t* valueName) {
    return key.path + u"\\" + (valueName == nullptr ? u"" : valueName);
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subKey, DWORD options, DWORD samDesired,
                      HKEY* result) {
    Machine& machine = GetCurrentMachine();
    *result = nullptr;
    std::u16string path;
    if (const LSTATUS status =
            BeginKeyCall(machine, "RegOpenKeyExW", key, subKey, {options, samDesired}, path);
        status != 0)
        return status;
    if (!machine.registry.HasKey(path))
        return ToStatus(ERROR_FILE_NOT_FOUND);
    *result = HandOut(machine, std::move(path), samDesired);
    return ToStatus(ERROR_SUCCESS);
}

// NOLINTNEXTLINE(readability-non-const-parameter): as Windows declares it
LSTATUS RegCreateKeyExW(HKEY key, const char16_t* subKey, DWORD reserved, char16_t* keyClass,
                        DWORD options, DWORD samDesired, const SECURITY_ATTRIBUTES* security,
                        HKEY* result, DWORD* disposition) {
    constexpr DWORD REG_CREATED_NEW_KEY = 1;
    constexpr DWORD REG_OPENED_EXISTING_KEY = 2;
    const std::uint64_t given = (keyClass == nullptr ? 0U : 1U) + (security == nullptr ? 0U : 1U);
    Machine& machine = GetCurrentMachine();
    std::u16string path;
    if (const LSTATUS status = BeginKeyCall(machine, "RegCreateKeyExW", key, subKey,
                                            {options, samDesired, given}, path);
        status != 0)
        return status;
    if (reserved != 0)
        return ToStatus(ERROR_INVALID_PARAMETER);
    const bool isNew = !machine.registry.HasKey(path);
    if (isNew)
        machine.registry.CreateKey(path);
    if (disposition != nullptr)
        *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    *result = HandOut(machine, std::move(path), samDesired);
    return ToStatus(ERROR_SUCCESS);
}

LSTATUS RegQueryValueExW(HKEY key, const char16_t* valueName, DWORD* /*reserved*/, DWORD* type,
                         BYTE* data, DWORD* size) {
    Machine& machine = GetCurrentMachine();
    const std::optional<OpenKey> opened = LookUpKey(machine, key);
    if (!opened)
        return ToStatus(ERROR_INVALID_HANDLE);
    const DWORD capacity = size == nullptr ? 0 : *size;
    if (const auto fault =
            machine.BeginCall("RegQueryValueExW", MakeValueSubject(*opened, valueName), {capacity}))
        return ToStatus(*fault);
    if ((opened->access & KEY_QUERY_VALUE) == 0)
        return ToStatus(ERROR_ACCESS_DENIED);
    if (data != nullptr && size == nullptr)
        return ToStatus(ERROR_INVALID_PARAMETER);
    const RegistryValue* value =
        machine.registry.FindValue(opened->path, valueName == nullptr ? u"" : valueName);
    if (value == nullptr)
        return ToStatus(ERROR_FILE_NOT_FOUND);
    if (type != nullptr)
        *type = value->type;
    if (size != nullptr)
        *size = static_cast<DWORD>(value->data.size());
    if (data == nullptr)
        return ToStatus(ERROR_SUCCESS);
    if (value->data.size() > capacity)
        return ToStatus(ERROR_MORE_DATA);
    BYTE* const end = std::copy(value->data.begin(), value->data.end(), data);
    // A text gets the terminator that it lacks if there is room for it, and its size stays.
    const bool isEnded = !IsText(value->type) || EndsInNul(value->data.data(), value->data.size());
    if (!isEnded && capacity - value->data.size() >= kNulSize)
        std::fill_n(end, kNulSize, BYTE{0});
    return ToStatus(ERROR_SUCCESS);
}

LSTATUS RegSetValueExW(HKEY key, const char16_t* valueName, DWORD reserved, DWORD type,
                       const BYTE* data, DWORD size) {
    Machine& machine = GetCurrentMachine();
    const std::optional<OpenKey> opened = LookUpKey(machine, key);
    if (!opened)
        return ToStatus(ERROR_INVALID_HANDLE);
    if (const auto fault =
            machine.BeginCall("RegSetValueExW", MakeValueSubject(*opened, valueName), {type, size}))
        return ToStatus(*fault);
    if (reserved != 0)
        return ToStatus(ERROR_INVALID_PARAMETER);
    if ((opened->access & KEY_SET_VALUE) == 0)
        return ToStatus(ERROR_ACCESS_DENIED);
    if (!machine.registry.HasKey(opened->path))
        return ToStatus(ERROR_KEY_DELETED);
    // A terminator right behind the bytes of a text counts as one that was forgotten.
    if (IsText(type) && size >= kNulSize && !EndsInNul(data, size) &&
        EndsInNul(data, size + kNulSize))
        size += kNulSize;
    machine.registry.SetValue(opened->path, valueName == nullptr ? u"" : valueName, type,
                              simulated::ValueData(data, data + size));
    return ToStatus(ERROR_SUCCESS);
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* /*reserved*/,
                      char16_t* /*keyClass*/, DWORD* /*classSize*/, FILETIME* /*lastWriteTime*/) {
    Machine& machine = GetCurrentMachine();
    const auto found = machine.open.keys.find(simulated::ToNumber(key));
    if (found == machine.open.keys.end()) {
        ++machine.badHandles;
        return ToStatus(ERROR_INVALID_HANDLE);
    }
    OpenKey& opened = found->second;
    if (const auto fault = machine.BeginCall("RegEnumKeyExW", opened.path, {index, *nameSize}))
        return ToStatus(*fault);
    if ((opened.access & KEY_ENUMERATE_SUB_KEYS) == 0)
        return ToStatus(ERROR_ACCESS_DENIED);
    if (index == 0)
        opened.subKeys = machine.registry.GetKeys().GetNames(opened.path);
    if (index >= opened.subKeys.size())
        return ToStatus(ERROR_NO_MORE_ITEMS);
    const std::u16string& subKey = opened.subKeys[index];
    if (subKey.size() >= *nameSize)
        return ToStatus(ERROR_MORE_DATA);
    *std::copy(subKey.begin(), subKey.end(), name) = u'\0';
    *nameSize = static_cast<DWORD>(subKey.size());
    return ToStatus(ERROR_SUCCESS);
}

LSTATUS RegCloseKey(HKEY key) {
    Machine& machine = GetCurrentMachine();
    const std::optional<OpenKey> opened = LookUpKey(machine, key);
    if (!opened)
        return ToStatus(ERROR_INVALID_HANDLE);
    machine.open.keys.erase(simulated::ToNumber(key));
    return ToStatus(machine.BeginCall("RegCloseKey", opened->path).value_or(ERROR_SUCCESS));
}

}  // namespace platform
