#include "platform/simulated/machine/machine.h"

#include <algorithm>
#include <cassert>

namespace platform::simulated {

namespace {

Machine* currentMachine = nullptr;

constexpr DWORD kSpoiledError = 0xBADC0DE;

constexpr KnownExport kKnownExports[] = {
    {u"MSI.DLL", "MsiEnumPatchesExW"},
    {u"MSI.DLL", "MsiGetPatchInfoExW"},
    {u"MSI.DLL", "MsiOpenDatabaseW"},
    {u"MSI.DLL", "MsiDatabaseOpenViewW"},
    {u"MSI.DLL", "MsiViewExecute"},
    {u"MSI.DLL", "MsiViewFetch"},
    {u"MSI.DLL", "MsiRecordGetStringW"},
    {u"MSI.DLL", "MsiCloseHandle"},
    {u"KERNEL32.DLL", "QueryFullProcessImageNameW"},
};

}  // namespace

std::optional<DWORD> Machine::BeginCall(std::string_view call, std::u16string_view subject,
                                        std::initializer_list<std::uint64_t> numbers) {
    return Begin(call, subject, numbers, subject);
}

std::optional<DWORD> Machine::BeginFileCall(std::string_view call, std::u16string_view path,
                                            std::initializer_list<std::uint64_t> numbers) {
    return Begin(call, path, numbers, MakeFaultSubject(path));
}

std::optional<DWORD> Machine::Begin(std::string_view call, std::u16string_view subject,
                                    std::initializer_list<std::uint64_t> numbers,
                                    std::u16string_view faultSubject) {
    const auto count = callCounts.find(call);
    if (count == callCounts.end())
        callCounts.emplace(call, 1U);
    else
        ++count->second;
    if (recordsCalls)
        calls.push_back({std::string(call), std::u16string(subject), numbers});
    const std::optional<DWORD> code = faults.Meet(call, faultSubject);
    lastError = code.value_or(kSpoiledError);
    return code;
}

std::uintptr_t Machine::MakeHandle() {
    return lastHandle += 4;
}

unsigned Machine::CountCalls(std::string_view call) const {
    const auto found = callCounts.find(call);
    return found == callCounts.end() ? 0 : found->second;
}

bool Machine::IsMissing(std::u16string_view module, std::string_view function) const {
    const std::u16string wanted = FoldCase(module);
    return std::any_of(missing.begin(), missing.end(), [&](const MissingExport& entry) {
        return FoldCase(entry.module) == wanted &&
               (entry.function.empty() || entry.function == function);
    });
}

MachineScope::MachineScope(Machine& machine) : outer_(currentMachine) {
    currentMachine = &machine;
}

MachineScope::~MachineScope() {
    currentMachine = outer_;
}

Machine& GetCurrentMachine() {
    assert(currentMachine != nullptr && "a platform call outside of every MachineScope");
    return *currentMachine;
}

std::span<const KnownExport> GetKnownExports() {
    return kKnownExports;
}

bool IsKnownExport(std::u16string_view module, std::string_view function) {
    const std::u16string wanted = FoldCase(module);
    return std::any_of(
        std::begin(kKnownExports), std::end(kKnownExports), [&](const KnownExport& known) {
            return known.module == wanted && (function.empty() || known.function == function);
        });
}

}  // namespace platform::simulated
