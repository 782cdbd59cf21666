#include "machines.h"

#include "inventory/installer_query.h"
#include "platform/installer.h"
#include "platform/wide_text.h"

namespace bench {

namespace {

using platform::FormatDecimal;

const std::u16string kInstaller = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer";
const std::u16string kUserData =
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\"
    u"S-1-5-18";
const std::u16string kRoot = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR";

/// The number with leading zeros.
std::u16string Pad(std::size_t number, std::size_t width) {
    const std::u16string digits = FormatDecimal(static_cast<std::int64_t>(number));
    return std::u16string(width - digits.size(), u'0') + digits;
}

/// The packed code of a patch. Codes are in no order, and no two begin alike.
std::u16string MakePackedCode(std::size_t number) {
    constexpr std::size_t kHashFactor = 97'654'321;  // has no divisor in common with the range
    return Pad(number * kHashFactor % 100'000'000, 8) + u"9ABCDEF0123456789ABCDEF0";
}

std::u16string GetPackagePath(std::size_t number, bool isOrphan) {
    return kCache + Pad(2 * number + (isOrphan ? 1 : 0), 8) + u".msp";
}

std::u16string GetListKey() {
    return kInstaller + u"\\Products\\" + saltrove::PackGuid(kProduct).value() + u"\\Patches";
}

std::u16string GetProductKey() {
    return kUserData + u"\\Products\\" + saltrove::PackGuid(kProduct).value();
}

void AddPatch(platform::simulated::Machine& machine, std::size_t number, std::size_t patches) {
    platform::simulated::Registry& registry = machine.registry;
    const std::u16string code = MakePackedCode(number);
    const std::u16string patchKey = GetProductKey() + u"\\Patches\\" + code;
    const bool isIncremental = number > patches / 2 || number % 2 == 1;
    registry.SetText(GetListKey(), code, u":update");
    registry.SetText(kUserData + u"\\Patches\\" + code, u"LocalPackage",
                     GetPackagePath(number, false));
    registry.SetText(patchKey, u"DisplayName", u"Kelvane Ostrel (" + GetVersion(number) + u")");
    registry.SetDword(patchKey, u"State",
                      number + 2 == patches ? platform::MSIPATCHSTATE_APPLIED
                                            : platform::MSIPATCHSTATE_SUPERSEDED);
    registry.SetText(kInstaller + u"\\Patches\\" + code + u"\\SourceList", u"PackageName",
                     u"Upd24" + Pad(number, 8) + (isIncremental ? u"_incr.msp" : u".msp"));
    machine.drive.AddFile(GetPackagePath(number, false), "a package");
}

void AddOrphan(platform::simulated::Machine& machine, std::size_t number) {
    machine.drive.AddFile(GetPackagePath(number, true), {}).reading.emplace().description =
        u"Kelvane Ostrel (" + GetVersion(number) + u")";
}

}  // namespace

std::u16string GetVersion(std::size_t number) {
    return u"24." + FormatDecimal(static_cast<std::int64_t>(number)) + u".20790";
}

platform::simulated::Machine MakeMachine(std::size_t patches, bool hasOrphans, bool hasLog) {
    platform::simulated::Machine machine;
    platform::simulated::Registry& registry = machine.registry;
    machine.clock.utc = std::chrono::sys_days(std::chrono::year(2026) / 11 / 18);
    machine.process.account = u"S-1-5-21-1-2-3-500";
    machine.drive.AddDirectory(u"C:\\Windows\\Temp");
    registry.SetDword(kRoot + u"\\Cleanup", u"EnablePatchCleanuplog", hasLog ? 1 : 0);
    registry.SetDword(kRoot + u"\\WebResource", u"iRandom", 4000);

    std::u16string list;
    for (std::size_t number = 0; number < patches; ++number) {
        AddPatch(machine, number, patches);
        list.append(MakePackedCode(number)).append(1, u'\0');
        if (hasOrphans)
            AddOrphan(machine, number);
    }
    registry.CreateKey(GetProductKey() + u"\\InstallProperties");
    registry.SetValue(GetListKey(), u"Patches", platform::REG_MULTI_SZ,
                      platform::simulated::MakeTextData(list));
    return machine;
}

}  // namespace bench
