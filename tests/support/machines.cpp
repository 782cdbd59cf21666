#include "support/machines.h"

#include "image/reg_file.h"
#include "platform/simulated/texts/unicode.h"
#include "run/run_driver.h"
#include "support/package_writer.h"

#include <gtest/gtest.h>

namespace test {

const std::string kOwnPackage = WritePackage(MakePackage({{"Description", "Kelvane Ostrel"}}));

using platform::simulated::MachineScope;

namespace {

const std::u16string kClasses = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer";
const std::u16string kUserData =
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\"
    u"S-1-5-18";
const std::u16string kPackedProduct = u"1E09A7B5E2D491C4A845CE3810F63C00";

std::u16string GetPackedPatch(int number) {
    std::u16string packed = u"87654321CBA90FED21436587A9CBED00";
    packed[31] = static_cast<char16_t>(u'0' + number);
    return packed;
}

}  // namespace

std::u16string GetPatchCode(int number) {
    std::u16string code = u"{12345678-9ABC-DEF0-1234-56789ABCDE00}";
    code[35] = static_cast<char16_t>(u'0' + number);
    return code;
}

std::u16string GetSourceListKey(int number) {
    return kClasses + u"\\Patches\\" + GetPackedPatch(number) + u"\\SourceList";
}

std::u16string GetPackageKey(int number) {
    return kUserData + u"\\Patches\\" + GetPackedPatch(number);
}

std::u16string GetStateKey(int number) {
    return kUserData + u"\\Products\\" + kPackedProduct + u"\\Patches\\" + GetPackedPatch(number);
}

Machine MakeMachine() {
    Machine machine;
    machine.recordsCalls = true;
    machine.clock.utc = std::chrono::sys_seconds(std::chrono::seconds(kNow));
    machine.drive.AddDirectory(u"C:\\Windows\\Temp");
    machine.drive.AddDirectory(u"C:\\Windows\\Installer");
    machine.registry.SetDword(kStore, u"EnablePatchCleanuplog", 1);
    machine.registry.SetDword(kRoot + u"\\WebResource", u"iRandom", 4000);
    return machine;
}

void AddPatch(Machine& machine, int number, const Patch& patch) {
    const std::u16string listKey = kClasses + u"\\Products\\" + kPackedProduct + u"\\Patches";
    std::u16string list;
    if (const auto* value = machine.registry.FindValue(listKey, u"Patches")) {
        list = platform::simulated::GetCharacters(value->data);
        list.pop_back();
    }
    list += GetPackedPatch(number) + u'\0';
    machine.registry.SetValue(listKey, u"Patches", platform::REG_MULTI_SZ,
                              platform::simulated::MakeTextData(list));
    machine.registry.SetText(listKey, GetPackedPatch(number), u":update");
    machine.registry.CreateKey(kUserData + u"\\Products\\" + kPackedProduct +
                               u"\\InstallProperties");
    machine.registry.SetText(GetPackageKey(number), u"LocalPackage", kCache + patch.file);
    machine.registry.SetText(GetStateKey(number), u"DisplayName", patch.displayName);
    machine.registry.SetDword(GetStateKey(number), u"State", patch.state);
    machine.registry.SetText(GetSourceListKey(number), u"PackageName", patch.packageName);
    machine.drive.AddFile(kCache + patch.file, kOwnPackage);
}

Machine MakeIncrementalMachine() {
    Machine machine = MakeMachine();
    AddPatch(machine, 0, {2, u"Update (24.1.20604)", u"Upd2400120604.msp", u"0.msp"});
    AddPatch(machine, 1, {2, u"Update (24.1.20613)", u"Upd2400120613_incr.msp", u"1.msp"});
    AddPatch(machine, 2, {2, u"Update (24.2.20687)", u"Upd2400220687.msp", u"2.msp"});
    AddPatch(machine, 3, {2, u"Update (24.2.20736)", u"Upd2400220736_incr.msp", u"3.msp"});
    AddPatch(machine, 4, {1, u"Update (24.3.20790)", u"Upd2400320790_incr.msp", u"4.msp"});
    AddPatch(machine, 5, {8, u"Update (24.4.20842)", u"Upd2400420842_incr.msp", u"5.msp"});
    return machine;
}

void SetValue(Machine& machine, const std::u16string& keyPath, const std::string& line) {
    const std::string head = "Windows Registry Editor Version 5.00\n[";
    image::ReadRegFile("", head + platform::simulated::EncodeUtf8(keyPath) + "]\n" + line, {},
                       machine.registry);
}

void AddFault(Machine& machine, std::string call, std::u16string subject, DWORD code,
              unsigned first, unsigned last) {
    machine.faults.Add({std::move(call), std::move(subject), code, first, last});
}

void FailProperty(Machine& machine, int number, const std::u16string& property) {
    AddFault(machine, "MsiGetPatchInfoExW", GetPatchCode(number) + u"\\" + property, 1610);
}

int RunTool(Machine& machine, std::vector<std::u16string> arguments) {
    arguments.insert(arguments.begin(), machine.process.module);
    const MachineScope scope(machine);
    const int exitCode = saltrove::RunProgram(arguments);
    ExpectNothingOpen(machine);
    return exitCode;
}

std::vector<std::uint64_t> FindNumbers(const Machine& machine, std::string_view call) {
    for (const auto& record : machine.calls) {
        if (record.call == call)
            return record.numbers;
    }
    return {};
}

std::vector<std::uint64_t> FindAllNumbers(const Machine& machine, std::string_view call) {
    std::vector<std::uint64_t> numbers;
    for (const auto& record : machine.calls) {
        if (record.call == call)
            numbers.insert(numbers.end(), record.numbers.begin(), record.numbers.end());
    }
    return numbers;
}

std::string ReadLogBytes(const Machine& machine) {
    const auto* node = machine.drive.Find(kLog);
    return node == nullptr ? "(no log)" : node->bytes;
}

std::string ReadLogText(const Machine& machine) {
    const std::string stamp = "[2026-11-18 07:37:42.000] ";
    std::string text;
    const std::string bytes = ReadLogBytes(machine);
    for (std::string_view rest = bytes; !rest.empty();) {
        std::string line(rest.substr(0, rest.find("\r\n")));
        rest.remove_prefix(std::min(line.size() + 2, rest.size()));
        text += line.starts_with(stamp) ? line.substr(stamp.size()) : "!" + line;
        text += '\n';
    }
    return text;
}

std::string ReadStoreText(const Machine& machine) {
    std::string text;
    const auto* store = machine.registry.GetKeys().Find(kStore);
    for (const auto& [name, value] : *store) {
        if (name != u"EnablePatchCleanuplog")
            text +=
                platform::simulated::EncodeUtf8(name + u"=" + image::FormatRegData(value)) + "\n";
    }
    return text;
}

void ExpectNothingOpen(const Machine& machine) {
    EXPECT_EQ(machine.open.Count(), 0U);
    EXPECT_EQ(machine.badHandles, 0U);
}

}  // namespace test
