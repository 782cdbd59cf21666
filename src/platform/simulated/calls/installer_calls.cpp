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
using simulated::IsGuid;
using simulated::Machine;

/// Copies a text with its terminator.
void CopyOut(std::u16string_view text, char16_t* buffer) {
    *std::copy(text.begin(), text.end(), buffer) = u'\0';
}

}  // namespace

// NOLINTBEGIN(readability-non-const-parameter): as Windows declares it
UINT MsiEnumPatchesExW(const char16_t* productCode, const char16_t* userSid, DWORD context,
                       DWORD filter, DWORD index, char16_t* patchCode, char16_t* targetProductCode,
                       DWORD* targetContext, char16_t* targetUserSid, DWORD* targetUserSidLength) {
    // NOLINTEND(readability-non-const-parameter)
    Machine& machine = GetCurrentMachine();
    if (const auto fault = BeginInstallerCall(machine, "MsiEnumPatchesExW",
                                              productCode == nullptr ? u"" : productCode,
                                              {context, filter, index}))
        return *fault;
    const bool isKnownFilter = filter != 0 && filter <= MSIPATCHSTATE_ALL;
    // A buffer for the target's SID has to come with its length.
    const bool hasLength = targetUserSid == nullptr || targetUserSidLength != nullptr;
    if (context != MSIINSTALLCONTEXT_MACHINE || userSid != nullptr || !isKnownFilter ||
        !hasLength || (productCode != nullptr && !IsGuid(productCode)))
        return ERROR_INVALID_PARAMETER;
    InstallerTree::Delivery delivery;
    if (const DWORD error =
            machine.installer.Enumerate(machine.registry, productCode, filter, index, delivery);
        error != ERROR_SUCCESS)
        return error;
    CopyOut(delivery.patchCode, patchCode);
    if (targetProductCode != nullptr)
        CopyOut(delivery.productCode, targetProductCode);
    if (targetContext != nullptr)
        *targetContext = MSIINSTALLCONTEXT_MACHINE;
    return ERROR_SUCCESS;
}

UINT MsiGetPatchInfoExW(const char16_t* patchCode, const char16_t* productCode,
                        const char16_t* userSid, DWORD context, const char16_t* property,
                        char16_t* value, DWORD* size) {
    Machine& machine = GetCurrentMachine();
    const std::u16string subject = std::u16string(patchCode) + u"\\" + property;
    if (const auto fault =
            BeginInstallerCall(machine, "MsiGetPatchInfoExW", subject, {context, *size}))
        return *fault;
    if (context != MSIINSTALLCONTEXT_MACHINE || userSid != nullptr || !IsGuid(productCode) ||
        !IsGuid(patchCode))
        return ERROR_INVALID_PARAMETER;
    std::u16string text;
    if (const DWORD error =
            InstallerTree::ReadProperty(machine.registry, patchCode, productCode, property, text);
        error != ERROR_SUCCESS)
        return error;
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(text.size());
    const bool fits = text.size() < capacity;
    if (capacity > 0)
        CopyOut(text.substr(0, capacity - 1), value);
    return fits ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

}  // namespace platform
