#include "platform/modules.h"

#include "platform/simulated/handles.h"
#include "platform/simulated/machine.h"

namespace platform {

namespace {

using simulated::CurrentMachine;
using simulated::Machine;

/// What every looked-up function's address is here; nobody calls through it.
std::intptr_t PresentFunction() {
    return 0;
}

}  // namespace

HMODULE LoadLibraryW(const char16_t* fileName) {
    Machine& machine = CurrentMachine();
    if (machine.BeginCall("LoadLibraryW", fileName))
        return nullptr;
    if (!simulated::IsKnownExport(fileName, "") || machine.IsMissing(fileName, "")) {
        machine.lastError = ERROR_MOD_NOT_FOUND;
        return nullptr;
    }
    const std::uintptr_t handle = machine.MakeHandle();
    machine.open.modules[handle] = fileName;
    return simulated::ToHandle<HMODULE>(handle);
}

FARPROC GetProcAddress(HMODULE module, const char* functionName) {
    Machine& machine = CurrentMachine();
    const auto found = machine.open.modules.find(simulated::ToNumber(module));
    if (found == machine.open.modules.end()) {
        ++machine.badHandles;
        return nullptr;
    }
    const std::u16string& name = found->second;
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

BOOL FreeLibrary(HMODULE module) {
    Machine& machine = CurrentMachine();
    const auto node = machine.open.modules.extract(simulated::ToNumber(module));
    if (node.empty()) {
        ++machine.badHandles;
        return 0;
    }
    return machine.BeginCall("FreeLibrary", node.mapped()) ? 0 : 1;
}

}  // namespace platform
