#include "floor.h"

#include "inventory/installer_query.h"
#include "machines.h"
#include "platform/c_runtime.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/installer.h"
#include "platform/modules.h"
#include "platform/registry.h"
#include "platform/simulated/machine/installer_tree.h"
#include "platform/wide_text.h"
#include "usercontext/user_launch.h"

#include <array>
#include <set>

namespace bench {

namespace {

using namespace platform;  // NOLINT(google-build-using-namespace): a list of its calls

using simulated::Machine;

constexpr const char16_t* kLog = u"C:\\Windows\\Temp\\PatchCleanuplog.txt";
const std::u16string kRoot = u"SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR";
const std::u16string kStore = kRoot + u"\\Cleanup";
const std::u16string kPolicy = u"SOFTWARE\\Policies\\Kelvane\\Kelvane Ostrel\\ZR\\FeatureLockDown";

/// The lines of the run log, each written when its turn comes.
class Log {
  public:
    explicit Log(const std::vector<std::string>& lines) : lines_(lines) {}
    ~Log() {
        if (file_ != nullptr)
            fclose(file_);
    }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void Write(std::size_t count) {
        if (!lines_.empty() && file_ == nullptr) {
            (void)GetFileAttributesW(u"C:\\Windows\\Temp");
            file_ = _wfsopen(kLog, u"at", _SH_DENYNO);
        }
        for (; !lines_.empty() && count > 0; --count, ++next_) {
            SYSTEMTIME now{};
            GetLocalTime(&now);
            (void)fwrite(lines_[next_].data(), 1, lines_[next_].size(), file_);
            (void)fflush(file_);
        }
    }

  private:
    const std::vector<std::string>& lines_;
    std::size_t next_ = 0;
    platform::FILE* file_ = nullptr;
};

using Code = std::array<char16_t, 39>;

bool EnumeratePatch(const char16_t* product, DWORD filter, DWORD index, Code& code) {
    Code target{};
    return MsiEnumPatchesExW(product, nullptr, MSIINSTALLCONTEXT_MACHINE, filter, index,
                             code.data(), target.data(), nullptr, nullptr, nullptr) == 0;
}

template <DWORD Capacity>
void AskForProperty(const Code& code, const char16_t* property) {
    std::array<char16_t, Capacity> value{};
    DWORD size = Capacity;
    (void)MsiGetPatchInfoExW(code.data(), kProduct.c_str(), nullptr, MSIINSTALLCONTEXT_MACHINE,
                             property, value.data(), &size);
}

void ReadValue(const std::u16string& keyPath, const char16_t* name, DWORD size) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath.c_str(), 0, KEY_READ, &key) != 0)
        return;
    std::array<BYTE, 520> value{};
    (void)RegQueryValueExW(key, name, nullptr, nullptr, value.data(), &size);
    RegCloseKey(key);
}

HKEY OpenStore() {
    HKEY key = nullptr;
    (void)RegCreateKeyExW(HKEY_LOCAL_MACHINE, kStore.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                          KEY_WRITE, nullptr, &key, nullptr);
    return key;
}

void SetNumber(HKEY key, const char16_t* name, DWORD number) {
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number));
}

void SetText(HKEY key, const char16_t* name, const std::u16string& text) {
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(char16_t)));
}

void LowerCase(std::u16string_view text, _locale_t locale) {
    for (const char16_t character : text)
        (void)_towlower_l(character, locale);
}

/// The patch that the product stands on is the only one that is applied.
void FindCurrentPatchType(const Script& script) {
    Code code{};
    if (!EnumeratePatch(kProduct.c_str(), MSIPATCHSTATE_APPLIED, 0, code))
        return;
    AskForProperty<MAX_PATH>(code, u"LocalPackage");
    AskForProperty<128>(code, u"DisplayName");
    ReadValue(script.linked[script.linked.size() - 2].sourceListKey, u"PackageName", 520);
}

void ReadPackage(const std::u16string& path) {
    MSIHANDLE database = 0;
    MSIHANDLE view = 0;
    MSIHANDLE record = 0;
    const auto* mode = reinterpret_cast<const char16_t*>(std::uintptr_t{32});
    (void)MsiOpenDatabaseW(path.c_str(), mode, &database);
    (void)MsiDatabaseOpenViewW(database, u"SELECT `Property`, `Value` FROM `MsiPatchMetadata`",
                               &view);
    (void)MsiViewExecute(view, 0);
    (void)MsiViewFetch(view, &record);
    std::array<char16_t, 256> value{};
    DWORD size = 128;
    MsiRecordGetStringW(record, 1, value.data(), &size);
    size = 256;
    MsiRecordGetStringW(record, 2, value.data(), &size);
    MsiCloseHandle(record);
    MsiCloseHandle(view);
    MsiCloseHandle(database);
}

void MakeLinkedCalls(const Script& script, Log& log) {
    log.Write(2);
    Code code{};
    for (DWORD i = 0; EnumeratePatch(kProduct.c_str(), MSIPATCHSTATE_ALL, i, code); ++i) {
        AskForProperty<MAX_PATH>(code, u"LocalPackage");
        AskForProperty<128>(code, u"DisplayName");
        ReadValue(script.linked[i].sourceListKey, u"PackageName", 520);
        AskForProperty<10>(code, u"State");
    }
    log.Write(1);
    FindCurrentPatchType(script);
    log.Write(14);
    const _locale_t locale = _create_locale(CTYPE_CATEGORY, "");
    for (const Package& package : script.linked) {
        log.Write(3);
        if (package.goes) {
            LowerCase(package.path, locale);
            (void)GetFileAttributesW(package.path.c_str());
            (void)DeleteFileW(package.path.c_str());
        }
        log.Write(1);
    }
    log.Write(7);
    const HKEY store = OpenStore();
    SetNumber(store, u"AffectedMachine", 1);
    SetText(store, u"PatchMarkForDeletionList", script.removedNames);
    SetNumber(store, u"CleanupTime", static_cast<DWORD>(_time64(nullptr)));
    RegCloseKey(store);
    _free_locale(locale);
}

void MakeOrphanCalls(const Script& script, Log& log) {
    log.Write(2);
    const _locale_t locale = _create_locale(CTYPE_CATEGORY, "");
    Code code{};
    for (DWORD i = 0; EnumeratePatch(nullptr, MSIPATCHSTATE_ALL, i, code); ++i) {
        AskForProperty<MAX_PATH>(code, u"LocalPackage");
        LowerCase(script.linked[i].path, locale);
    }
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(u"C:\\Windows\\Installer\\*.msp", &found);
    for (const Package& package : script.entries) {
        LowerCase(package.path, locale);
        if (package.goes) {
            ReadPackage(package.path);
            LowerCase(package.description, locale);
            log.Write(2);
            (void)DeleteFileW(package.path.c_str());
            log.Write(1);
        }
        (void)FindNextFileW(search, &found);
    }
    FindClose(search);
    log.Write(4);
    _free_locale(locale);
}

/// The packages of kProduct's patches, and which of them are gone behind a run.
std::vector<Package> ListLinked(const Machine& before, const Machine& after) {
    simulated::InstallerTree installer;
    simulated::InstallerTree::Delivery patch;
    std::vector<Package> linked;
    while (installer.Enumerate(before.registry, kProduct.c_str(), MSIPATCHSTATE_ALL, linked.size(),
                               patch) == ERROR_SUCCESS) {
        Package& package = linked.emplace_back();
        simulated::InstallerTree::ReadProperty(before.registry, patch.patchCode, patch.productCode,
                                               u"LocalPackage", package.path);
        package.sourceListKey =
            saltrove::GetSourceListKeyPath(saltrove::PackGuid(patch.patchCode).value());
        package.goes = after.drive.Find(package.path) == nullptr;
    }
    return linked;
}

std::vector<std::string> SplitLog(const Machine& machine) {
    const simulated::FileNode* file = machine.drive.Find(kLog);
    const std::string bytes = file == nullptr ? std::string() : file->bytes;
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < bytes.size(); start += lines.back().size() + 1)
        lines.push_back(bytes.substr(start, bytes.find("\r\n", start) - start) + "\n");
    return lines;
}

}  // namespace

Script MakeScript(const Machine& before, const Machine& after) {
    Script script;
    script.linked = ListLinked(before, after);
    script.version = GetVersion(script.linked.size() - 2);
    script.log = SplitLog(after);
    std::set<std::u16string> removed;
    for (const Package& package : script.linked) {
        if (!package.goes)
            continue;
        AppendToList(script.removedNames, GetFileName(package.path));
        removed.insert(package.path);
    }
    for (const auto& name : before.drive.GetNodes().GetNames(u"C:\\Windows\\Installer")) {
        const std::u16string path = kCache + name;
        if (removed.contains(path))
            continue;
        const bool goes = after.drive.Find(path) == nullptr;
        const auto& reading = before.drive.Find(path)->reading;
        script.entries.push_back({path, {}, reading ? reading->description : u"", goes});
        if (goes)
            AppendToList(script.orphanNames, name);
        script.orphans += goes ? 1 : 0;
    }
    return script;
}

void MakeLinkedCalls(const Script& script) {
    Log log(script.log);
    MakeLinkedCalls(script, log);
}

void MakeOrphanCalls(const Script& script) {
    Log log(script.log);
    MakeOrphanCalls(script, log);
}

void MakeRunCalls(const Script& script) {
    Log log(script.log);
    const HMODULE module = LoadLibraryW(u"msi.dll");
    (void)GetProcAddress(module, "MsiEnumPatchesExW");
    (void)GetProcAddress(module, "MsiGetPatchInfoExW");
    FreeLibrary(module);
    (void)ReadSteadyClock();
    ReadValue(kStore, u"EnablePatchCleanuplog", sizeof(DWORD));
    log.Write(4);
    HKEY store = OpenStore();
    SetText(store, u"CurrentPatchVersion", script.version);
    FindCurrentPatchType(script);
    log.Write(1);
    SetText(store, u"CurrentPatchType", u"Incremental");
    log.Write(1);
    RegCloseKey(store);
    log.Write(3);
    ReadValue(kPolicy, u"PatchCleanFlag", sizeof(DWORD));
    log.Write(2);
    ReadValue(kStore, u"CleanupTime", sizeof(DWORD));
    log.Write(2);
    ReadValue(kRoot + u"\\WebResource", u"iRandom", sizeof(DWORD));
    log.Write(5);
    (void)ReadSteadyClock();
    MakeLinkedCalls(script, log);
    (void)ReadSteadyClock();
    log.Write(1);
    (void)ReadSteadyClock();
    MakeOrphanCalls(script, log);
    (void)ReadSteadyClock();
    log.Write(1);
    store = OpenStore();
    SetNumber(store, u"OrphanPatchCount", script.orphans);
    SetText(store, u"OrphanPatches", script.orphanNames);
    RegCloseKey(store);
    log.Write(1);
    store = OpenStore();
    SetNumber(store, u"AffectedMachine", 1);
    RegCloseKey(store);
    (void)saltrove::IsRunningInSystemContext();  // a dozen calls, whatever the machine holds
    (void)ReadSteadyClock();
    log.Write(4);
    store = OpenStore();
    SetNumber(store, u"ExitState", 0);
    log.Write(1);
    RegCloseKey(store);
}

}  // namespace bench
