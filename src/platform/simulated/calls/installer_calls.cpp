#include "platform/installer.h"

#include "platform/simulated/calls/installer_calls.h"

#include <algorithm>
#include <string>

namespace platform {

std::optional<DWORD> simulated::BeginInstallerCall(Machine& machine, std::string_view call,
                                                   std::u16string_view subject,
                                                   std::initializer_list<std::uint64_t> numbers) {
    const std::optional<DWORD> fault = machine.BeginCall(call, subject, numbers);
    if (!fault && machine.IsMissing(u"msi.dll", call))
        return ERROR_PROC_NOT_FOUND;
    return fault;
}

namespace {

using simulated::BeginInstallerCall;
using simulated::GetCurrentMachine;
using simulated::InstallerTree;
using simulated::Machine;

/// Copies a text with its terminator.
void CopyOut(std::u16string_view text, char16_t* buffer) {
    *std::copy(text.begin(), text.end(), buffer) = u'\0';
}

}  // namespace

UINT MsiEnumPatchesExW(const char16_t* productCode, const char16_t* /*userSid*/, DWORD context,
                       DWORD filter, DWORD index, char16_t* patchCode, char16_t* targetProductCode,
                       DWORD* targetContext, char16_t* /*targetUserSid*/,
                       DWORD* /*targetUserSidLength*/) {
    Machine& machine = GetCurrentMachine();
    if (const auto fault = BeginInstallerCall(machine, "MsiEnumPatchesExW",
                                              productCode == nullptr ? u"" : productCode,
                                              {context, filter, index}))
        return *fault;
    if (context != MSIINSTALLCONTEXT_MACHINE)
        return ERROR_INVALID_PARAMETER;
    const auto& deliveries = machine.installer.Enumerate(machine.registry, productCode, filter);
    if (index >= deliveries.size())
        return ERROR_NO_MORE_ITEMS;
    CopyOut(deliveries[index].patchCode, patchCode);
    if (targetProductCode != nullptr)
        CopyOut(deliveries[index].productCode, targetProductCode);
    if (targetContext != nullptr)
        *targetContext = MSIINSTALLCONTEXT_MACHINE;
    return ERROR_SUCCESS;
}

UINT MsiGetPatchInfoExW(const char16_t* patchCode, const char16_t* productCode,
                        const char16_t* /*userSid*/, DWORD context, const char16_t* property,
                        char16_t* value, DWORD* size) {
    Machine& machine = GetCurrentMachine();
    const std::u16string subject = std::u16string(patchCode) + u"\\" + property;
    if (const auto fault =
            BeginInstallerCall(machine, "MsiGetPatchInfoExW", subject, {context, *size}))
        return *fault;
    if (context != MSIINSTALLCONTEXT_MACHINE)
        return ERROR_INVALID_PARAMETER;
    if (!machine.installer.HoldsPatch(machine.registry, patchCode, productCode))
        return ERROR_UNKNOWN_PATCH;
    const std::optional<std::u16string> text =
        InstallerTree::ReadProperty(machine.registry, patchCode, productCode, property);
    if (!text)
        return ERROR_UNKNOWN_PROPERTY;
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(text->size());
    if (text->size() >= capacity)
        return ERROR_MORE_DATA;
    CopyOut(*text, value);
    return ERROR_SUCCESS;
}

}  // namespace platform
