#include "platform/files.h"

#include "platform/simulated/calls/failure.h"
#include "platform/simulated/calls/handles.h"
#include "platform/simulated/machine/full_path.h"
#include "platform/simulated/machine/machine.h"
#include "platform/simulated/texts/short_name.h"
#include "platform/wide_text.h"

#include <algorithm>

namespace platform {

namespace {

using simulated::Fail;
using simulated::FoldCase;
using simulated::GetCurrentMachine;
using simulated::Machine;
using simulated::OpenSearch;

/// Whether a name fits a pattern; both are in one letter case. "*" stands for any characters and
/// "?" for one.
bool Fits(std::u16string_view name, std::u16string_view pattern) {
    std::size_t i = 0;
    std::size_t j = 0;
    std::size_t star = std::u16string_view::npos;
    std::size_t resume = 0;
    while (i < name.size()) {
        if (j < pattern.size() && pattern[j] == u'*') {
            star = j++;
            resume = i;
        } else if (j < pattern.size() && (pattern[j] == u'?' || pattern[j] == name[i])) {
            ++i;
            ++j;
        } else if (star != std::u16string_view::npos) {
            j = star + 1;
            i = ++resume;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(u'*', j) == std::u16string_view::npos;
}

/// Delivers the next entry that is still there; whether there was one.
bool Deliver(const Machine& machine, OpenSearch& search, WIN32_FIND_DATAW& entry) {
    std::u16string path = search.directory + u"\\";
    const std::size_t length = path.size();
    while (search.next < search.names.size()) {
        const std::u16string& name = search.names[search.next++];
        path.resize(length);
        const auto* node = machine.drive.GetNodes().Find(path.append(name));
        if (node == nullptr || name.size() >= MAX_PATH)
            continue;
        entry = WIN32_FIND_DATAW{};
        entry.dwFileAttributes = GetAttributes(*node);
        entry.nFileSizeHigh = static_cast<DWORD>(node->size >> 32U);
        entry.nFileSizeLow = static_cast<DWORD>(node->size);
        std::copy(name.begin(), name.end(), std::begin(entry.cFileName));
        return true;
    }
    return false;
}

}  // namespace

HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* entry) {
    Machine& machine = GetCurrentMachine();
    if (machine.BeginCall("FindFirstFileW", pattern))
        return INVALID_HANDLE_VALUE;
    const std::u16string_view namePattern = GetFileName(pattern);
    const std::u16string_view whole(pattern);
    const auto folder = simulated::ResolvePath(whole.substr(0, whole.size() - namePattern.size()));
    const auto* node = folder ? machine.drive.GetNodes().Find(*folder) : nullptr;
    if (node == nullptr || !node->isDirectory) {
        machine.lastError = ERROR_PATH_NOT_FOUND;
        return INVALID_HANDLE_VALUE;
    }
    const std::u16string foldedPattern = FoldCase(namePattern);
    OpenSearch search{*folder, machine.drive.GetNodes().GetNames(*folder)};
    std::erase_if(search.names, [&](const std::u16string& name) {
        const std::u16string shortName = simulated::MakeShortName(name);
        return !Fits(FoldCase(name), foldedPattern) &&
               (shortName.empty() || !Fits(FoldCase(shortName), foldedPattern));
    });
    if (!Deliver(machine, search, *entry)) {
        machine.lastError = ERROR_FILE_NOT_FOUND;
        return INVALID_HANDLE_VALUE;
    }
    const std::uintptr_t handle = machine.MakeHandle();
    machine.open.searches.emplace(handle, std::move(search));
    return simulated::ToHandle<HANDLE>(handle);
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* entry) {
    Machine& machine = GetCurrentMachine();
    const auto found = machine.open.searches.find(simulated::ToNumber(search));
    if (found == machine.open.searches.end()) {
        ++machine.badHandles;
        return Fail(machine, ERROR_INVALID_HANDLE);
    }
    if (machine.BeginCall("FindNextFileW"))
        return 0;
    if (Deliver(machine, found->second, *entry))
        return 1;
    return Fail(machine, ERROR_NO_MORE_FILES);
}

BOOL FindClose(HANDLE search) {
    Machine& machine = GetCurrentMachine();
    if (machine.open.searches.erase(simulated::ToNumber(search)) == 0) {
        ++machine.badHandles;
        return Fail(machine, ERROR_INVALID_HANDLE);
    }
    return machine.BeginCall("FindClose") ? 0 : 1;
}

}  // namespace platform
