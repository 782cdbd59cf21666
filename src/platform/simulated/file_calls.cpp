#include "platform/files.h"

#include "platform/simulated/machine.h"
#include "platform/simulated/pending_renames.h"

namespace platform {

namespace {

using simulated::CurrentMachine;
using simulated::FileNode;
using simulated::Machine;

BOOL Fail(Machine& machine, DWORD code) {
    machine.lastError = code;
    return 0;
}

/// The error for a path at which there is nothing: whether at least its directory is there.
DWORD MissingError(const Machine& machine, std::u16string_view path) {
    const auto resolved = simulated::ResolvePath(path);
    if (!resolved)
        return ERROR_PATH_NOT_FOUND;
    const FileNode* parent = machine.drive.Find(*resolved + u"\\..");
    return parent != nullptr && parent->isDirectory ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

}  // namespace

DWORD GetLastError() {
    return CurrentMachine().lastError;
}

DWORD GetFileAttributesW(const char16_t* path) {
    Machine& machine = CurrentMachine();
    if (machine.BeginCall("GetFileAttributesW", path))
        return INVALID_FILE_ATTRIBUTES;
    const FileNode* node = machine.drive.Find(path);
    if (node == nullptr) {
        machine.lastError = MissingError(machine, path);
        return INVALID_FILE_ATTRIBUTES;
    }
    const DWORD kind = node->isDirectory ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
    return kind | (node->isReadOnly ? FILE_ATTRIBUTE_READONLY : 0);
}

BOOL DeleteFileW(const char16_t* path) {
    Machine& machine = CurrentMachine();
    if (machine.BeginCall("DeleteFileW", path))
        return 0;
    const FileNode* node = machine.drive.Find(path);
    if (node == nullptr)
        return Fail(machine, MissingError(machine, path));
    if (node->isDirectory || node->isReadOnly)
        return Fail(machine, ERROR_ACCESS_DENIED);
    machine.drive.Remove(path);
    return 1;
}

BOOL MoveFileExW(const char16_t* path, const char16_t* newPath, DWORD flags) {
    Machine& machine = CurrentMachine();
    if (machine.BeginCall("MoveFileExW", path, {flags}))
        return 0;
    if (newPath != nullptr || flags != MOVEFILE_DELAY_UNTIL_REBOOT)
        return Fail(machine, ERROR_INVALID_PARAMETER);
    if (machine.drive.Find(path) == nullptr)
        return Fail(machine, MissingError(machine, path));
    simulated::RegisterDeletion(machine.registry, path);
    return 1;
}

}  // namespace platform
