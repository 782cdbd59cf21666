#include "platform/installer.h"

#include "platform/simulated/calls/installer_calls.h"
#include "platform/simulated/packages/select_query.h"

#include <algorithm>
#include <memory>

namespace platform {

namespace {

using simulated::BeginInstallerCall;
using simulated::GetCurrentMachine;
using simulated::Machine;
using simulated::OpenDatabase;
using simulated::OpenRecord;
using simulated::OpenView;
using simulated::PackageDatabase;
using simulated::PackageReading;
using simulated::QueryResult;

// MSIDBOPEN_READONLY and MSIDBOPEN_PATCHFILE, added as pointers to characters of two bytes.
constexpr std::uintptr_t kReadOnlyPatchFile = 32;

/// The object behind a handle, or null.
template <typename Object>
Object* LookUp(Machine& machine, std::map<std::uintptr_t, Object>& objects, MSIHANDLE handle) {
    const auto found = objects.find(handle);
    if (found != objects.end())
        return &found->second;
    ++machine.badHandles;
    return nullptr;
}

template <typename Object>
MSIHANDLE HandOut(Machine& machine, std::map<std::uintptr_t, Object>& objects, Object object) {
    const std::uintptr_t handle = machine.MakeHandle();
    objects.emplace(handle, std::move(object));
    return static_cast<MSIHANDLE>(handle);
}

/// The error with which a step of reading a package failed on the machine that it comes from.
std::optional<UINT> FindFailure(const PackageReading& reading, PackageReading::Step step) {
    return reading.failedStep == step ? std::optional<UINT>(reading.error) : std::nullopt;
}

/// Answers a query of a package of which nothing but its description is known, as the only row of
/// its metadata.
std::optional<QueryResult> Select(const PackageReading& reading, std::u16string_view query) {
    const auto select = simulated::ParseSelectQuery(query);
    if (!select || select->table != u"MsiPatchMetadata")
        return std::nullopt;
    std::vector<std::u16string> row;
    for (const std::u16string& column : select->columns) {
        if (column != u"Property" && column != u"Value")
            return std::nullopt;
        row.push_back(column == u"Property" ? u"Description" : reading.description);
    }
    return QueryResult::OfRow(reading.description.empty() ? std::vector<std::u16string>() : row);
}

/// The database in the package at `path`; null if there is none, of which the machine keeps a note
/// if it is for the code page.
std::shared_ptr<const PackageDatabase> ReadDatabase(Machine& machine, std::u16string_view path) {
    const simulated::FileNode* node = machine.drive.Find(path);
    if (node == nullptr || node->isDirectory)
        return nullptr;
    std::optional<std::uint32_t> unknownCodePage;
    auto database = PackageDatabase::Open(simulated::ReadContent(*node), unknownCodePage);
    if (unknownCodePage)
        machine.undecodedPackages.push_back({std::u16string(path), *unknownCodePage});
    return database ? std::make_shared<const PackageDatabase>(*std::move(database)) : nullptr;
}

}  // namespace

UINT MsiOpenDatabaseW(const char16_t* path, const char16_t* persist, MSIHANDLE* database) {
    Machine& machine = GetCurrentMachine();
    const auto mode = reinterpret_cast<std::uintptr_t>(persist);
    if (const auto failure = BeginInstallerCall(machine, "MsiOpenDatabaseW", path, {mode}))
        return *failure;
    if (mode != kReadOnlyPatchFile)
        return ERROR_INVALID_PARAMETER;
    OpenDatabase opened{path, nullptr, {}};
    const simulated::FileNode* node = machine.drive.Find(path);
    if (node != nullptr && node->reading) {
        opened.reading = *node->reading;
        if (const auto error = FindFailure(opened.reading, PackageReading::Step::Open))
            return *error;
    } else {
        opened.database = ReadDatabase(machine, path);
        if (!opened.database)
            return ERROR_OPEN_FAILED;
    }
    *database = HandOut(machine, machine.open.databases, std::move(opened));
    return ERROR_SUCCESS;
}

UINT MsiDatabaseOpenViewW(MSIHANDLE database, const char16_t* query, MSIHANDLE* view) {
    Machine& machine = GetCurrentMachine();
    const OpenDatabase* opened = LookUp(machine, machine.open.databases, database);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (const auto failure = BeginInstallerCall(machine, "MsiDatabaseOpenViewW", opened->path, {}))
        return *failure;
    if (const auto error = FindFailure(opened->reading, PackageReading::Step::Query))
        return *error;
    auto result =
        opened->database ? opened->database->Select(query) : Select(opened->reading, query);
    if (!result)
        return ERROR_BAD_QUERY_SYNTAX;
    auto shared = std::make_shared<const QueryResult>(*std::move(result));
    *view = HandOut(machine, machine.open.views, OpenView{*opened, std::move(shared)});
    return ERROR_SUCCESS;
}

UINT MsiViewExecute(MSIHANDLE view, MSIHANDLE record) {
    Machine& machine = GetCurrentMachine();
    OpenView* opened = LookUp(machine, machine.open.views, view);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (const auto failure =
            BeginInstallerCall(machine, "MsiViewExecute", opened->source.path, {record}))
        return *failure;
    if (const auto error = FindFailure(opened->source.reading, PackageReading::Step::Execute))
        return *error;
    opened->isExecuted = true;
    opened->nextRow = 0;
    return ERROR_SUCCESS;
}

UINT MsiViewFetch(MSIHANDLE view, MSIHANDLE* record) {
    Machine& machine = GetCurrentMachine();
    OpenView* opened = LookUp(machine, machine.open.views, view);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (const auto failure = BeginInstallerCall(machine, "MsiViewFetch", opened->source.path, {}))
        return *failure;
    if (!opened->isExecuted)
        return ERROR_FUNCTION_FAILED;
    if (opened->nextRow >= opened->result->CountRows()) {
        opened->nextRow = 0;
        return ERROR_NO_MORE_ITEMS;
    }
    *record = HandOut(machine, machine.open.records, OpenRecord{*opened, opened->nextRow});
    ++opened->nextRow;
    return ERROR_SUCCESS;
}

UINT MsiRecordGetStringW(MSIHANDLE record, UINT field, char16_t* value, DWORD* size) {
    Machine& machine = GetCurrentMachine();
    const OpenRecord* opened = LookUp(machine, machine.open.records, record);
    if (opened == nullptr)
        return ERROR_INVALID_HANDLE;
    if (const auto failure = BeginInstallerCall(machine, "MsiRecordGetStringW",
                                                opened->view.source.path, {field, *size}))
        return *failure;
    std::u16string buffer;
    const std::u16string_view text = opened->view.result->GetField(opened->row, field, buffer);
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(text.size());
    const bool fits = text.size() < capacity;
    // Nobody promises a terminator behind a text that was cut, and not every system sets one.
    char16_t* const end =
        std::copy_n(text.data(), std::min<std::size_t>(text.size(), capacity), value);
    if (fits)
        *end = u'\0';
    return fits ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

UINT MsiCloseHandle(MSIHANDLE handle) {
    Machine& machine = GetCurrentMachine();
    simulated::OpenObjects& open = machine.open;
    // In the records of calls: 0 a record, 1 a view, 2 a database.
    std::uint64_t kind = 0;
    for (const std::size_t erased :
         {open.records.erase(handle), open.views.erase(handle), open.databases.erase(handle)}) {
        if (erased != 0)
            return BeginInstallerCall(machine, "MsiCloseHandle", {}, {kind})
                .value_or(ERROR_SUCCESS);
        ++kind;
    }
    ++machine.badHandles;
    return ERROR_INVALID_HANDLE;
}

}  // namespace platform
