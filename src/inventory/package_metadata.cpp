#include "inventory/package_metadata.h"

#include "log/run_log.h"
#include "platform/installer_handle.h"
#include "platform/wide_text.h"

#include <array>
#include <span>
#include <utility>

namespace saltrove {

namespace {

using platform::InstallerHandle;
using platform::InstallerHandleNumber;
using platform::MSIHANDLE;
using platform::UINT;

constexpr const char16_t* kQuery = u"SELECT `Property`, `Value` FROM `MsiPatchMetadata`";

/// The flags "read only" and "a patch package", see MsiOpenDatabaseW.
const char16_t* MakeReadOnlyPatchMode() {
    constexpr std::uintptr_t kPatchFile = 16;
    return reinterpret_cast<const char16_t*>(kPatchFile * sizeof(char16_t));
}

/// Where the reading of a package ended early.
using Failure = std::optional<PackageFailure>;

InstallerHandle OpenPackage(const std::u16string& path, Failure& failure) {
    MSIHANDLE handle = 0;
    if (const UINT error =
            platform::MsiOpenDatabaseW(path.c_str(), MakeReadOnlyPatchMode(), &handle);
        error != 0) {
        failure = {PackageStep::Open, error};
        WriteRunLog(u"  [FAIL] Failed to open MSP file.\n");
        return {};
    }
    return InstallerHandle(InstallerHandleNumber(handle));
}

InstallerHandle QueryMetadata(const InstallerHandle& database, Failure& failure) {
    MSIHANDLE handle = 0;
    if (const UINT error = platform::MsiDatabaseOpenViewW(database.get().number, kQuery, &handle);
        error != 0) {
        failure = {PackageStep::Query, error};
        WriteRunLog(u"  [FAIL] Failed to create view for Description.");
        return {};
    }
    InstallerHandle view{InstallerHandleNumber(handle)};
    if (const UINT error = platform::MsiViewExecute(view.get().number, 0); error != 0) {
        failure = {PackageStep::Execute, error};
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
/// call that cuts may leave no room. Nothing if it cannot be read.
template <std::size_t Capacity>
std::optional<std::u16string> ReadField(const InstallerHandle& record, UINT field) {
    std::array<char16_t, Capacity> buffer{};
    platform::DWORD size = Capacity;
    const UINT status =
        platform::MsiRecordGetStringW(record.get().number, field, buffer.data(), &size);
    if (status != platform::ERROR_SUCCESS && status != platform::ERROR_MORE_DATA)
        return std::nullopt;
    return platform::ReadBuffer(std::span(buffer).first(Capacity - 1));
}

}  // namespace

std::u16string GetDescriptionFromMsp(const std::u16string& path,
                                     std::optional<PackageFailure>* failure) {
    Failure ignored;
    Failure& ending = failure == nullptr ? ignored : *failure;
    ending.reset();
    const InstallerHandle database = OpenPackage(path, ending);
    if (!database)
        return {};
    const InstallerHandle view = QueryMetadata(database, ending);
    if (!view)
        return {};
    while (const InstallerHandle record = FetchRow(view)) {
        const std::optional<std::u16string> property = ReadField<128>(record, 1);
        std::optional<std::u16string> value = ReadField<256>(record, 2);
        // What cannot be read may be the description, and a row behind it another one's.
        if (!property || !value)
            return {};
        if (platform::EqualsIgnoringAsciiCase(*property, u"Description"))
            return *std::move(value);
    }
    return {};
}

}  // namespace saltrove
