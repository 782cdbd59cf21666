#include "platform/installer.h"

#include "platform/windows/late_call.h"

#include <msi.h>
#include <msiquery.h>
#include <type_traits>

namespace platform {

namespace {

static_assert(std::is_same_v<::MSIHANDLE, ::DWORD>);
static_assert(sizeof(::MSIINSTALLCONTEXT) == sizeof(DWORD));

template <typename Function>
Function* FindInstallerCall(const char* name) {
    return FindLateCall<Function>(L"msi.dll", name);
}

/// Makes the call, or fails where Windows Installer or the function is missing.
template <typename Function, typename... Arguments>
UINT CallInstaller(Function* call, Arguments... arguments) {
    return call == nullptr ? ERROR_PROC_NOT_FOUND : call(arguments...);
}

}  // namespace

UINT MsiEnumPatchesExW(const char16_t* productCode, const char16_t* userSid, DWORD context,
                       DWORD filter, DWORD index, char16_t* patchCode, char16_t* targetProductCode,
                       DWORD* targetContext, char16_t* targetUserSid, DWORD* targetUserSidLength) {
    static const auto call = FindInstallerCall<decltype(::MsiEnumPatchesExW)>("MsiEnumPatchesExW");
    return CallInstaller(call, Native(productCode), Native(userSid), context, filter, index,
                         Native(patchCode), Native(targetProductCode),
                         reinterpret_cast<::MSIINSTALLCONTEXT*>(targetContext),
                         Native(targetUserSid), Native(targetUserSidLength));
}

UINT MsiGetPatchInfoExW(const char16_t* patchCode, const char16_t* productCode,
                        const char16_t* userSid, DWORD context, const char16_t* property,
                        char16_t* value, DWORD* size) {
    static const auto call =
        FindInstallerCall<decltype(::MsiGetPatchInfoExW)>("MsiGetPatchInfoExW");
    return CallInstaller(call, Native(patchCode), Native(productCode), Native(userSid),
                         static_cast<::MSIINSTALLCONTEXT>(context), Native(property), Native(value),
                         Native(size));
}

UINT MsiOpenDatabaseW(const char16_t* path, const char16_t* persist, MSIHANDLE* database) {
    static const auto call = FindInstallerCall<decltype(::MsiOpenDatabaseW)>("MsiOpenDatabaseW");
    return CallInstaller(call, Native(path), Native(persist), Native(database));
}

UINT MsiDatabaseOpenViewW(MSIHANDLE database, const char16_t* query, MSIHANDLE* view) {
    static const auto call =
        FindInstallerCall<decltype(::MsiDatabaseOpenViewW)>("MsiDatabaseOpenViewW");
    return CallInstaller(call, database, Native(query), Native(view));
}

UINT MsiViewExecute(MSIHANDLE view, MSIHANDLE record) {
    static const auto call = FindInstallerCall<decltype(::MsiViewExecute)>("MsiViewExecute");
    return CallInstaller(call, view, record);
}

UINT MsiViewFetch(MSIHANDLE view, MSIHANDLE* record) {
    static const auto call = FindInstallerCall<decltype(::MsiViewFetch)>("MsiViewFetch");
    return CallInstaller(call, view, Native(record));
}

UINT MsiRecordGetStringW(MSIHANDLE record, UINT field, char16_t* value, DWORD* size) {
    static const auto call =
        FindInstallerCall<decltype(::MsiRecordGetStringW)>("MsiRecordGetStringW");
    return CallInstaller(call, record, field, Native(value), Native(size));
}

UINT MsiCloseHandle(MSIHANDLE handle) {
    static const auto call = FindInstallerCall<decltype(::MsiCloseHandle)>("MsiCloseHandle");
    return CallInstaller(call, handle);
}

}  // namespace platform
