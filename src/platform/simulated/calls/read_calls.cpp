#include "platform/files.h"
#include "platform/simulated/calls/failure.h"
#include "platform/simulated/calls/handles.h"
#include "platform/simulated/machine/machine.h"

#include <algorithm>

namespace platform {

namespace {

using simulated::Fail;
using simulated::FileNode;
using simulated::GetCurrentMachine;
using simulated::Machine;
using simulated::OpenHandle;

/// The file behind a handle, or null.
OpenHandle* LookUpFile(Machine& machine, HANDLE file) {
    const auto found = machine.open.handles.find(simulated::ToNumber(file));
    if (found != machine.open.handles.end() && found->second.kind == OpenHandle::Kind::File)
        return &found->second;
    ++machine.badHandles;
    machine.lastError = ERROR_INVALID_HANDLE;
    return nullptr;
}

/// What opening a file for reading ends in; nothing if it can be opened.
std::optional<DWORD> FindOpenError(const Machine& machine, std::u16string_view path, DWORD access,
                                   DWORD disposition) {
    if (access != GENERIC_READ || disposition != OPEN_EXISTING)
        return ERROR_INVALID_PARAMETER;
    const FileNode* node = machine.drive.Find(path);
    if (node == nullptr) {
        const FileNode* parent = machine.drive.FindParent(path);
        return parent != nullptr && parent->isDirectory ? ERROR_FILE_NOT_FOUND
                                                        : ERROR_PATH_NOT_FOUND;
    }
    return node->isDirectory ? std::optional(ERROR_ACCESS_DENIED) : std::nullopt;
}

}  // namespace

HANDLE CreateFileW(const char16_t* path, DWORD access, DWORD shareMode,
                   const SECURITY_ATTRIBUTES* /*security*/, DWORD disposition, DWORD flags,
                   HANDLE /*templateFile*/) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginFileCall("CreateFileW", path, {access, shareMode, disposition, flags}))
        return INVALID_HANDLE_VALUE;
    if (const auto error = FindOpenError(machine, path, access, disposition)) {
        machine.lastError = *error;
        return INVALID_HANDLE_VALUE;
    }
    const FileNode* node = machine.drive.Find(path);
    OpenHandle opened;
    opened.kind = OpenHandle::Kind::File;
    opened.path = path;
    if (!node->reading)
        opened.content = std::make_shared<const std::string>(simulated::ReadContent(*node));
    const std::uintptr_t handle = machine.MakeHandle();
    machine.open.handles.emplace(handle, std::move(opened));
    return simulated::ToHandle<HANDLE>(handle);
}

BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* newPlace, DWORD method) {
    Machine& machine = GetCurrentMachine();
    OpenHandle* opened = LookUpFile(machine, file);
    if (opened == nullptr || machine.BeginFileCall("SetFilePointerEx", opened->path, {method}))
        return 0;
    if (method != FILE_BEGIN || distance.QuadPart < 0)
        return Fail(machine, ERROR_INVALID_PARAMETER);
    opened->next = static_cast<std::size_t>(distance.QuadPart);
    if (newPlace != nullptr)
        *newPlace = distance;
    return 1;
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* /*overlapped*/) {
    Machine& machine = GetCurrentMachine();
    OpenHandle* opened = LookUpFile(machine, file);
    if (opened == nullptr || machine.BeginFileCall("ReadFile", opened->path, {size}))
        return 0;
    if (!opened->content)
        return Fail(machine, ERROR_READ_FAULT);
    const std::string& content = *opened->content;
    const std::size_t place = std::min(opened->next, content.size());
    const std::size_t length = std::min<std::size_t>(size, content.size() - place);
    std::copy_n(content.data() + place, length, static_cast<char*>(buffer));
    opened->next = place + length;
    *read = static_cast<DWORD>(length);
    return 1;
}

}  // namespace platform
