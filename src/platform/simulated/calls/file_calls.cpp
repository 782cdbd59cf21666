#include "platform/files.h"

#include "platform/simulated/calls/failure.h"
#include "platform/simulated/machine/full_path.h"
#include "platform/simulated/machine/machine.h"
#include "platform/simulated/machine/pending_renames.h"

#include <algorithm>
#include <vector>

namespace platform {

namespace {

using simulated::Fail;
using simulated::FileNode;
using simulated::GetCurrentMachine;
using simulated::Machine;
using simulated::MakeFullPath;

/// The directory in which Windows starts a service.
constexpr const char16_t* kCurrentDirectory = u"C:\\Windows\\System32";

/// The error for a path at which there is nothing: whether at least its directory is there.
DWORD FindMissingError(const Machine& machine, std::u16string_view path) {
    const FileNode* parent = machine.drive.FindParent(path);
    return parent != nullptr && parent->isDirectory ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

/// Whether the process itself has the file open, as a stream or as a database. A view and a record
/// keep their database open.
bool IsInUse(const Machine& machine, std::u16string_view path) {
    const simulated::OpenObjects& open = machine.open;
    std::vector<std::u16string_view> paths;
    for (const auto& [handle, stream] : open.streams)
        paths.push_back(stream.path);
    for (const auto& [handle, database] : open.databases)
        paths.push_back(database.path);
    for (const auto& [handle, view] : open.views)
        paths.push_back(view.source.path);
    for (const auto& [handle, record] : open.records)
        paths.push_back(record.view.source.path);
    const FileNode* node = machine.drive.Find(path);
    return std::any_of(paths.begin(), paths.end(),
                       [&](std::u16string_view used) { return machine.drive.Find(used) == node; });
}

/// Copies a text and its terminator if they fit, and gives its length; otherwise the size they
/// need.
DWORD GiveText(std::u16string_view text, char16_t* buffer, DWORD size) {
    if (text.size() >= size)
        return static_cast<DWORD>(text.size() + 1);
    *std::copy(text.begin(), text.end(), buffer) = u'\0';
    return static_cast<DWORD>(text.size());
}

}  // namespace

DWORD GetLastError() {
    return GetCurrentMachine().lastError;
}

DWORD GetFileAttributesW(const char16_t* path) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginFileCall("GetFileAttributesW", path))
        return INVALID_FILE_ATTRIBUTES;
    const FileNode* node = machine.drive.Find(path);
    if (node == nullptr) {
        machine.lastError = FindMissingError(machine, path);
        return INVALID_FILE_ATTRIBUTES;
    }
    return GetAttributes(*node);
}

DWORD GetFullPathNameW(const char16_t* path, DWORD size, char16_t* buffer,
                       char16_t** /*filePart*/) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("GetFullPathNameW", path, {size}))
        return 0;
    if (*path == u'\0')
        return 0;
    return GiveText(MakeFullPath(path, kCurrentDirectory), buffer, size);
}

UINT GetWindowsDirectoryW(char16_t* buffer, UINT size) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("GetWindowsDirectoryW", {}, {size}) || machine.windowsDirectory.empty())
        return 0;
    return GiveText(machine.windowsDirectory, buffer, size);
}

BOOL DeleteFileW(const char16_t* path) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginFileCall("DeleteFileW", path))
        return 0;
    const FileNode* node = machine.drive.Find(path);
    if (node == nullptr)
        return Fail(machine, FindMissingError(machine, path));
    if (node->isDirectory || node->isReadOnly)
        return Fail(machine, ERROR_ACCESS_DENIED);
    if (IsInUse(machine, path))
        return Fail(machine, ERROR_SHARING_VIOLATION);
    machine.drive.Remove(path);
    return 1;
}

BOOL MoveFileExW(const char16_t* path, const char16_t* newPath, DWORD flags) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginFileCall("MoveFileExW", path, {flags}))
        return 0;
    if (newPath != nullptr || flags != MOVEFILE_DELAY_UNTIL_REBOOT)
        return Fail(machine, ERROR_INVALID_PARAMETER);
    // Nobody looks whether there is such a file.
    simulated::RegisterDeletion(machine.registry, MakeFullPath(path, kCurrentDirectory),
                                machine.soundRenames);
    return 1;
}

}  // namespace platform
