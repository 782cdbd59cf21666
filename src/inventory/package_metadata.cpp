#include "inventory/package_metadata.h"

#include "log/run_log.h"
#include "platform/installer_handle.h"
#include "platform/wide_text.h"

#include <array>
#include <span>

namespace saltrove {

namespace {

using platform::InstallerHandle;
using platform::InstallerHandleNumber;
using platform::MSIHANDLE;

constexpr const char16_t* kQuery = u"SELECT `Property`, `Value` FROM `MsiPatchMetadata`";

/// The flags "read only" and "a patch package". They are constants of a pointer type, whose sum the
/// wide form of the call takes as pointer arithmetic, so that 0 and 16 make 32.
const char16_t* MakeReadOnlyPatchMode() {
    constexpr std::uintptr_t kPatchFile = 16;
    return reinterpret_cast<const char16_t*>(kPatchFile * sizeof(char16_t));
}

InstallerHandle OpenPackage(const std::u16string& path) {
    MSIHANDLE handle = 0;
    if (platform::MsiOpenDatabaseW(path.c_str(), MakeReadOnlyPatchMode(), &handle) != 0) {
        WriteRunLog(u"  [FAIL] Failed to open MSP file.\n");
        return {};
    }
    return InstallerHandle(InstallerHandleNumber(handle));
}

InstallerHandle QueryMetadata(const InstallerHandle& database) {
    MSIHANDLE handle = 0;
    if (platform::MsiDatabaseOpenViewW(database.get().number, kQuery, &handle) != 0) {
        WriteRunLog(u"  [FAIL] Failed to create view for Description.");
        return {};
    }
    InstallerHandle view{InstallerHandleNumber(handle)};
    if (platform::MsiViewExecute(view.get().number, 0) != 0) {
        WriteRunLog(u"  [FAIL] Failed to execute query.");
        return {};
    }
    return view;
}

InstallerHandle FetchRow(const InstallerHandle& view) {
    MSIHANDLE handle = 0;
    if (platform::MsiViewFetch(view.get().number, &handle) != 0)
        return {};
    return InstallerHandle(InstallerHandleNumber(handle));
}

/// A field of a row, cut to what fits into `Capacity` characters with a terminator, for which a
/// call that cuts may leave no room. A read that fails for another reason than the text's length
/// leaves an empty text.
template <std::size_t Capacity>
std::u16string ReadField(const InstallerHandle& record, platform::UINT field) {
    std::array<char16_t, Capacity> buffer{};
    platform::DWORD size = Capacity;
    const platform::UINT status =
        platform::MsiRecordGetStringW(record.get().number, field, buffer.data(), &size);
    if (status != platform::ERROR_SUCCESS && status != platform::ERROR_MORE_DATA)
        return {};
    return platform::ReadBuffer(std::span(buffer).first(Capacity - 1));
}

}  // namespace

std::u16string GetDescriptionFromMsp(const std::u16string& path) {
    const InstallerHandle database = OpenPackage(path);
    if (!database)
        return {};
    const InstallerHandle view = QueryMetadata(database);
    if (!view)
        return {};
    while (const InstallerHandle record = FetchRow(view)) {
        const std::u16string property = ReadField<128>(record, 1);
        std::u16string value = ReadField<256>(record, 2);
        if (platform::EqualsIgnoringAsciiCase(property, u"Description"))
            return value;
    }
    return {};
}

}  // namespace saltrove
