#include "platform/c_runtime.h"

#include "platform/simulated/calls/handles.h"
#include "platform/simulated/machine/full_path.h"
#include "platform/simulated/machine/machine.h"
#include "platform/wide_text.h"

namespace platform {

namespace {

using simulated::FileNode;
using simulated::GetCurrentMachine;
using simulated::Machine;
using simulated::OpenStream;

constexpr int EOF_RESULT = -1;

OpenStream* LookUpStream(Machine& machine, FILE* stream) {
    const auto found = machine.open.streams.find(simulated::ToNumber(stream));
    if (found != machine.open.streams.end())
        return &found->second;
    ++machine.badHandles;
    return nullptr;
}

/// The file behind a path that is to be opened for appending, made if it is missing; null if that
/// cannot be.
FileNode* OpenForAppending(Machine& machine, std::u16string_view path) {
    const auto resolved = simulated::ResolvePath(path);
    if (!resolved)
        return nullptr;
    if (FileNode* node = machine.drive.FindToChange(*resolved)) {
        if (node->isDirectory || node->isReadOnly || node->reading)
            return nullptr;
        node->bytes = simulated::ReadContent(*node);
        node->hostFile.clear();
        return node;
    }
    const FileNode* parent = machine.drive.FindParent(*resolved);
    if (parent == nullptr || !parent->isDirectory)
        return nullptr;
    return &machine.drive.AddFile(*resolved, {});
}

/// Moves what the stream holds to the end of its file; whether the file took it.
bool WriteOut(Machine& machine, OpenStream& stream) {
    FileNode* node = machine.drive.FindToChange(stream.path);
    if (node == nullptr)
        return false;
    node->bytes += stream.held;
    node->size = node->bytes.size();
    stream.held.clear();
    return true;
}

}  // namespace

FILE* _wfsopen(const char16_t* path, const char16_t* mode, int shareFlag) {
    Machine& machine = GetCurrentMachine();
    const auto fault =
        machine.BeginFileCall("_wfsopen", path, {static_cast<std::uint64_t>(shareFlag)});
    const bool isAppending = std::u16string_view(mode) == u"at";
    if (fault || !isAppending || OpenForAppending(machine, path) == nullptr)
        return nullptr;
    const std::uintptr_t handle = machine.MakeHandle();
    machine.open.streams[handle] = {path, {}};
    return simulated::ToHandle<FILE*>(handle);
}

std::size_t fwrite(const void* data, std::size_t size, std::size_t count, FILE* stream) {
    Machine& machine = GetCurrentMachine();
    OpenStream* opened = LookUpStream(machine, stream);
    if (opened == nullptr || machine.BeginCall("fwrite", opened->path, {size, count}))
        return 0;
    for (const char byte : std::string_view(static_cast<const char*>(data), size * count)) {
        if (byte == '\n')
            opened->held.push_back('\r');
        opened->held.push_back(byte);
    }
    return count;
}

int fflush(FILE* stream) {
    Machine& machine = GetCurrentMachine();
    OpenStream* opened = LookUpStream(machine, stream);
    if (opened == nullptr || machine.BeginCall("fflush", opened->path))
        return EOF_RESULT;
    return WriteOut(machine, *opened) ? 0 : EOF_RESULT;
}

int fclose(FILE* stream) {
    Machine& machine = GetCurrentMachine();
    OpenStream* opened = LookUpStream(machine, stream);
    if (opened == nullptr)
        return EOF_RESULT;
    const bool isFaulty = machine.BeginCall("fclose", opened->path).has_value();
    const bool isWritten = !isFaulty && WriteOut(machine, *opened);
    machine.open.streams.erase(simulated::ToNumber(stream));
    return isWritten ? 0 : EOF_RESULT;
}

_locale_t _create_locale(int category, const char* name) {
    Machine& machine = GetCurrentMachine();
    // Of the locales that Windows may have, only the native one is needed.
    if (machine.BeginCall("_create_locale", {}, {static_cast<std::uint64_t>(category)}) ||
        *name != 0)
        return nullptr;
    const std::uintptr_t handle = machine.MakeHandle();
    machine.open.locales[handle] = category;
    return simulated::ToHandle<_locale_t>(handle);
}

char16_t _towlower_l(char16_t character, _locale_t locale) {
    Machine& machine = GetCurrentMachine();
    const auto found = machine.open.locales.find(simulated::ToNumber(locale));
    if (found == machine.open.locales.end())
        ++machine.badHandles;
    else if (found->second == CTYPE_CATEGORY)
        return simulated::ToLower(character);
    return ToLowerAscii(character);
}

void _free_locale(_locale_t locale) {
    Machine& machine = GetCurrentMachine();
    machine.BeginCall("_free_locale");
    if (machine.open.locales.erase(simulated::ToNumber(locale)) == 0)
        ++machine.badHandles;
}

}  // namespace platform
