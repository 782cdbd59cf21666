#include "platform/installer.h"

#include "platform/windows/late_call.h"

#include <msi.h>
#include <msiquery.h>
#include <type_traits>

namespace platform {

namespace {

/// What each call gives where Windows Installer or the function is missing.
constexpr UINT kNoSuchCall = 127;  // ERROR_PROC_NOT_FOUND

template <typename Function>
Function* FindInstallerCall(const char* name) {
    return FindLateCall<Function>(L"msi.dll", name);
}
static_assert(std::is_same_v<::MSIHANDLE, ::DWORD>);

}  // namespace

UINT MsiEnumPatchesExW(const char16_t* productCode, const char16_t* userSid, DWORD context,
                       DWORD filter, DWORD index, char16_t* patchCode, char16_t* targetProductCode,
                       DWORD* targetContext, char16_t* targetUserSid, DWORD* targetUserSidLength) {
    static const auto call = FindInstallerCall<decltype(::MsiEnumPatchesExW)>("MsiEnumPatchesExW");
    if (call == nullptr)
        return kNoSuchCall;
    return call(Native(productCode), Native(userSid), context, filter, index, Native(patchCode),
                Native(targetProductCode), reinterpret_cast<::MSIINSTALLCONTEXT*>(targetContext),
                Native(targetUserSid), Native(targetUserSidLength));
}

UINT MsiGetPatchInfoExW(const char16_t* patchCode, const char16_t* productCode,
                        const char16_t* userSid, DWORD context, const char16_t* property,
                        char16_t* value, DWORD* size) {
    static const auto call =
        FindInstallerCall<decltype(::MsiGetPatchInfoExW)>("MsiGetPatchInfoExW");
    if (call == nullptr)
        return kNoSuchCall;
    return call(Native(patchCode), Native(productCode), Native(userSid),
                static_cast<::MSIINSTALLCONTEXT>(context), Native(property), Native(value),
                Native(size));
}

UINT MsiOpenDatabaseW(const char16_t* path, const char16_t* persist, MSIHANDLE* database) {
    static const auto call = FindInstallerCall<decltype(::MsiOpenDatabaseW)>("MsiOpenDatabaseW");
    if (call == nullptr)
        return kNoSuchCall;
    return call(Native(path), Native(persist), Native(database));
}

UINT MsiDatabaseOpenViewW(MSIHANDLE database, const char16_t* query, MSIHANDLE* view) {
    static const auto call =
        FindInstallerCall<decltype(::MsiDatabaseOpenViewW)>("MsiDatabaseOpenViewW");
    if (call == nullptr)
        return kNoSuchCall;
    return call(database, Native(query), Native(view));
}

UINT MsiViewExecute(MSIHANDLE view, MSIHANDLE record) {
    static const auto call = FindInstallerCall<decltype(::MsiViewExecute)>("MsiViewExecute");
    return call == nullptr ? kNoSuchCall : call(view, record);
}

UINT MsiViewFetch(MSIHANDLE view, MSIHANDLE* record) {
    static const auto call = FindInstallerCall<decltype(::MsiViewFetch)>("MsiViewFetch");
    return call == nullptr ? kNoSuchCall : call(view, Native(record));
}

UINT MsiRecordGetStringW(MSIHANDLE record, UINT field, char16_t* value, DWORD* size) {
    static const auto call =
        FindInstallerCall<decltype(::MsiRecordGetStringW)>("MsiRecordGetStringW");
    if (call == nullptr)
        return kNoSuchCall;
    return call(record, field, Native(value), Native(size));
}

UINT MsiCloseHandle(MSIHANDLE handle) {
    static const auto call = FindInstallerCall<decltype(::MsiCloseHandle)>("MsiCloseHandle");
    return call == nullptr ? kNoSuchCall : call(handle);
}

}  // namespace platform
