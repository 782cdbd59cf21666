#include "platform/modules.h"

#include "platform/simulated/calls/handles.h"
#include "platform/simulated/machine/machine.h"

#include <algorithm>

namespace platform {

namespace {

using simulated::GetCurrentMachine;
using simulated::Machine;

/// What every looked-up function's address is here; nobody calls through it.
std::intptr_t PresentFunction() {
    return 0;
}

/// Gives a handle of a module, and notes it among `modules`.
HMODULE HandOutModule(Machine& machine, const char* call, const char16_t* name,
                      std::map<std::uintptr_t, std::u16string>& modules) {
    if (machine.BeginCall(call, name))
        return nullptr;
    if (!simulated::IsKnownExport(name, "") || machine.IsMissing(name, "")) {
        machine.lastError = ERROR_MOD_NOT_FOUND;
        return nullptr;
    }
    const std::uintptr_t handle = machine.MakeHandle();
    modules[handle] = name;
    return simulated::ToHandle<HMODULE>(handle);
}

}  // namespace

HMODULE LoadLibraryW(const char16_t* fileName) {
    Machine& machine = GetCurrentMachine();
    return HandOutModule(machine, "LoadLibraryW", fileName, machine.open.modules);
}

FARPROC GetProcAddress(HMODULE module, const char* functionName) {
    Machine& machine = GetCurrentMachine();
    const auto loaded = machine.open.modules.find(simulated::ToNumber(module));
    const auto resident = machine.residentModules.find(simulated::ToNumber(module));
    if (loaded == machine.open.modules.end() && resident == machine.residentModules.end()) {
        ++machine.badHandles;
        return nullptr;
    }
    const std::u16string& name =
        loaded != machine.open.modules.end() ? loaded->second : resident->second;
    const std::string_view function(functionName);
    if (machine.BeginCall("GetProcAddress",
                          name + u"!" + std::u16string(function.begin(), function.end())))
        return nullptr;
    if (!simulated::IsKnownExport(name, function) || machine.IsMissing(name, function)) {
        machine.lastError = ERROR_PROC_NOT_FOUND;
        return nullptr;
    }
    return &PresentFunction;
}

HMODULE GetModuleHandleW(const char16_t* moduleName) {
    Machine& machine = GetCurrentMachine();
    return HandOutModule(machine, "GetModuleHandleW", moduleName, machine.residentModules);
}

DWORD GetModuleFileNameW(HMODULE module, char16_t* path, DWORD size) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("GetModuleFileNameW", {}, {size}) || module != nullptr || size == 0)
        return 0;
    const std::u16string& own = machine.process.module;
    const std::size_t length = std::min<std::size_t>(own.size(), size - 1);
    *std::copy_n(own.begin(), length, path) = u'\0';
    if (length == own.size())
        return static_cast<DWORD>(length);
    machine.lastError = ERROR_INSUFFICIENT_BUFFER;
    return size;
}

BOOL FreeLibrary(HMODULE module) {
    Machine& machine = GetCurrentMachine();
    const auto node = machine.open.modules.extract(simulated::ToNumber(module));
    if (node.empty()) {
        ++machine.badHandles;
        return 0;
    }
    return machine.BeginCall("FreeLibrary", node.mapped()) ? 0 : 1;
}

}  // namespace platform
