#include "collect/collect.h"

#include "image/image.h"
#include "image/reg_file.h"
#include "platform/simulated/texts/unicode.h"
#include "replay/replay.h"
#include "support/host_files.h"
#include "support/images.h"
#include "support/machines.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>

namespace collect {
namespace {

namespace fs = std::filesystem;
using namespace test;

class Collect : public testing::Test {
  protected:
    /// Runs saltrove-collect on the machine, which it may not change.
    int CollectFrom(Machine& machine, std::vector<std::u16string> arguments) {
        arguments.insert(arguments.begin(), u"saltrove-collect");
        const std::string registry = image::FormatRegFile(machine.registry);
        std::ostringstream out;
        std::ostringstream err;
        int status = 0;
        {
            const platform::simulated::MachineScope scope(machine);
            status = RunCollect(arguments, out, err);
        }
        out_ = out.str();
        err_ = err.str();
        ExpectNothingOpen(machine);
        EXPECT_EQ(image::FormatRegFile(machine.registry), registry);
        for (const char* call : {"RegCreateKeyExW", "RegSetValueExW", "DeleteFileW", "MoveFileExW",
                                 "_wfsopen", "CreateProcessAsUserW", "CreateProcessWithTokenW"})
            EXPECT_EQ(machine.CountCalls(call), 0U) << call;
        return status;
    }
    int CollectFrom(Machine& machine) {
        return CollectFrom(machine, {target_.u16string()});
    }

    TemporaryFolder temporary_;
    const fs::path& folder_ = temporary_.path;
    const fs::path target_ = folder_ / "new" / u8"\u00E9t\u00E9";
    std::string out_;
    std::string err_;
};

/// Cuts from `text` what begins with `start` and ends in front of `end`.
void Cut(std::string& text, const std::string& start, const std::string& end) {
    if (const std::size_t place = text.find(start); place != std::string::npos)
        text.erase(place, text.find(end, place + 1) - place);
}

/// Puts into the image what nobody can collect: where the tool lies, and what fails.
void AddWhatIsUnknown(const fs::path& target, const Machine& machine, const fs::path& original) {
    std::string ini = ReadFile(target / "machine.ini");
    Cut(ini, "module = ", "\n");
    ini.insert(ini.find("[process]\n") + 10,
               "module = " + fs::path(machine.process.module).string() + "\n");
    std::istringstream lines(ReadFile(original / "machine.ini"));
    bool isOfErrors = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('['))
            isOfErrors = line.find("-errors]") != std::string::npos;
        if (isOfErrors)
            ini += line + "\n";
    }
    std::ofstream(target / "machine.ini", std::ios::binary) << ini;
}

class CollectedImages : public Collect, public testing::WithParamInterface<fs::path> {};

TEST_P(CollectedImages, ReplayAsTheirOriginals) {
    const image::Image original = image::ReadImage(GetParam());
    const std::string name = GetParam().filename().string();
    for (const bool withPackages : {false, true}) {
        Machine machine = original.machine;
        std::vector<std::u16string> arguments = {target_.u16string(), u"--"};
        arguments.insert(arguments.end(), original.arguments.begin(), original.arguments.end());
        if (withPackages)
            arguments.insert(arguments.begin(), u"--with-packages");
        const bool isComplete = name != "packages-without-bytes" || !withPackages;
        EXPECT_EQ(CollectFrom(machine, arguments), isComplete ? kExitComplete : kExitPartial)
            << err_;
        AddWhatIsUnknown(target_, machine, GetParam());

        std::ostringstream out;
        std::ostringstream err;
        (void)replay::RunReplay({"saltrove-replay", target_.string()}, out, err, false);
        std::string expected = ReadFile(fs::path(SALTROVE_EXPECTED) / (name + ".txt"));
        if (!withPackages)  // that nobody could read them is all that an image tells of them
            Cut(expected, "\nPackages not opened for", "\nProcesses started");
        EXPECT_EQ(out.str(), expected) << err.str() << err_;
        fs::remove_all(folder_ / "new");
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, CollectedImages, testing::ValuesIn(FindImages(SALTROVE_SAMPLES)),
                         MakeTestName);
INSTANTIATE_TEST_SUITE_P(Tests, CollectedImages, testing::ValuesIn(FindImages(SALTROVE_IMAGES)),
                         MakeTestName);

/// All bytes of all files of an image.
std::string ReadAll(const fs::path& folder) {
    std::string text;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file())
            text += entry.path().string() + "\n" + ReadFile(entry.path());
    }
    return text;
}

TEST_F(Collect, TakesNothingThatNoRunAsksFor) {
    Machine machine = MakeIncrementalMachine();
    const std::u16string hive = u"HKEY_USERS\\S-1-5-21-9";
    const std::u16string list = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\"
                                u"1E09A7B5E2D491C4A845CE3810F63C00";
    const std::u16string userData =
        u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\";
    const std::u16string winlogon = u"\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
    machine.registry.SetText(list + u"\\Patches", u"112101D72B39F5E46A1CF0E2D4B6A810", u"SECRET");
    machine.registry.SetText(list + u"\\Patches", GetStateKey(0).substr(GetStateKey(0).size() - 32),
                             u":SECRET");
    for (const std::u16string& key :
         {std::u16string(u"HKEY_LOCAL_MACHINE") + winlogon, hive + winlogon, kRoot, kStore,
          kRoot + u"\\WebResource", kRoot + u"\\Users", list, list + u"\\SourceList",
          GetSourceListKey(0), GetPackageKey(0), GetStateKey(0),
          userData + u"S-1-5-18\\Products\\1E09A7B5E2D491C4A845CE3810F63C00\\InstallProperties",
          userData + u"S-1-5-21-9\\Products\\A\\InstallProperties",
          std::u16string(
              u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager"),
          std::u16string(u"HKEY_LOCAL_MACHINE\\SAM\\SECRET")})
        machine.registry.SetText(key, u"DefaultPassword", u"SECRET");
    machine.registry.SetText(hive + winlogon, u"Shell", u"explorer.exe");
    machine.registry.SetText(userData + u"S-1-5-21-9\\Patches\\Q", u"LocalPackage", u"C:\\own.msp");
    machine.processes = {{7, 1, u"S-1-5-21-9", u"C:\\Windows\\explorer.exe"},
                         {8, 1, u"S-1-5-21-8", u"C:\\SECRET.exe"}};
    for (const char16_t* path :
         {u"C:\\Windows\\Installer\\SECRET.msi", u"C:\\Windows\\Temp\\SECRET.txt"})
        machine.drive.AddFile(path, "SECRET");
    machine.drive.FindToChange(kCache + u"1.msp")->bytes += "SECRET";
    EXPECT_EQ(CollectFrom(machine), kExitComplete) << err_;
    std::string all = ReadAll(target_);
    EXPECT_EQ(all.find("SECRET"), std::string::npos);
    std::erase(all, '\0');
    EXPECT_EQ(all.find("SECRET"), std::string::npos);
    const Machine image = image::ReadImage(target_).machine;
    EXPECT_NE(image.registry.FindValue(hive + winlogon, u"Shell"), nullptr);
    EXPECT_NE(image.registry.FindValue(userData + u"S-1-5-21-9\\Patches\\Q", u"LocalPackage"),
              nullptr);
    EXPECT_NE(out_.find("6 packages"), std::string::npos) << out_;
}

TEST_F(Collect, NamesWhatCannotBeReadAndTakesTheRest) {
    const std::string key = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR\\Cleanup";
    const struct {
        const char* call;
        std::u16string subject;
        std::string line;
    } cases[] = {
        {"RegOpenKeyExW", kStore, "the key " + key},
        {"RegQueryValueExW", kStore + u"\\CleanupTime", "the value " + key + "\\CleanupTime"},
        {"RegEnumKeyExW", u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products",
         "all keys below HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products"},
        {"OpenProcessToken", u"S-1-5-18", "the account"},
        {"OpenProcessToken", u"S-1-5-21-9", "the process 7 explorer.exe"},
        {"OpenProcess", u"", "the process 7 explorer.exe"},
        {"WTSEnumerateSessionsW", u"", "the sessions"},
        {"CreateToolhelp32Snapshot", u"", "the processes"},
        {"FindFirstFileW", kCache + u"*.msp", "the folder for C:\\Windows\\Installer\\*.msp"},
        {"FindNextFileW", u"", "all of the folder for C:\\Windows\\Installer\\*.msp"},
        {"GetFileAttributesW", u"C:\\Windows\\Temp", "the attributes of C:\\Windows\\Temp"},
        {"CreateFileW", kLog, "the end of C:\\Windows\\Temp\\PatchCleanuplog.txt"},
        {"ReadFile", kLog, "the end of C:\\Windows\\Temp\\PatchCleanuplog.txt"},
        {"CreateFileW", kCache + u"bad.msp", "the package C:\\Windows\\Installer\\bad.msp"},
    };
    for (const auto& row : cases) {
        Machine machine = MakeIncrementalMachine();
        machine.registry.SetDword(kStore, u"CleanupTime", 1);
        machine.processes = {{7, 1, u"S-1-5-21-9", u"C:\\Windows\\explorer.exe"},
                             {8, 1, u"S-1-5-21-9", u"C:\\Windows\\other.exe"}};
        machine.drive.AddFile(kLog, "line\r\n");
        machine.drive.AddFile(kCache + u"bad.msp", "bad");
        AddFault(machine, row.call, row.subject, 1392, 1, 1);
        EXPECT_EQ(CollectFrom(machine), kExitPartial) << row.call;
        EXPECT_EQ(err_, "saltrove-collect: cannot read " + row.line + ": error 1392\n");
        const Machine image = image::ReadImage(target_).machine;
        EXPECT_NE(image.drive.Find(kCache + u"0.msp"), nullptr) << row.call;
        fs::remove_all(folder_ / "new");
    }
}

TEST_F(Collect, AFolderThatCannotBeUsedStaysAsItIs) {
    Machine machine = MakeMachine();
    fs::create_directories(folder_ / "full" / "x");
    std::ofstream(folder_ / "file") << "x";
    const std::u16string own = target_.u16string();
    const struct {
        std::vector<std::u16string> arguments;
        int status;
        std::string error;
    } cases[] = {
        {{}, kExitUsage, "DIR is missing\nusage: saltrove-collect DIR"},
        {{own, own}, kExitUsage, "more than one DIR"},
        {{u""}, kExitUsage, "the name of DIR is empty"},
        {{u"--with-package", own}, kExitUsage, "--with-package is not an option"},
        {{own, u"--", u"a\nb"}, kExitUsage, "an argument of the run has a line end"},
        {{own, u"--", u"\xD800"}, kExitUsage, "half a character"},
        {{u"--status"}, kExitUsage, "takes a product code, and nothing else"},
        {{u"--removals", kProduct}, kExitUsage, "takes a product code and a version"},
        {{u"--status", u"{5b7a90e1-4D2E-4C19-8A54-EC83016FC300}"}, kExitUsage, "and capitals"},
        {{u"--status", kProduct.substr(1, 36)}, kExitUsage, "in braces"},
        {{u"--status", u"{00000000-0000-0000-0000-000000000000}"}, kExitUsage, "of the family"},
        {{(folder_ / "full").u16string()}, kExitUsage, "full is not empty"},
        {{(folder_ / "file").u16string()}, kExitUsage, "file is not a folder"},
        {{(folder_ / "file" / "a").u16string()}, kExitCannotWrite, "cannot be written"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(CollectFrom(machine, row.arguments), row.status) << row.error;
        EXPECT_NE(err_.find(row.error), std::string::npos) << err_;
        EXPECT_EQ(out_, "");
    }
    // A name that Windows can have and another host cannot, met when all else has been written.
    machine.drive.AddFile(kCache + std::u16string(200, u'\u4E2D') + u".msp", kOwnPackage);
    fs::create_directories(folder_ / "empty");
    if (fs::path::preferred_separator == '/') {
        for (const fs::path& path : {target_, folder_ / "empty"})
            EXPECT_EQ(CollectFrom(machine, {u"--with-packages", path.u16string()}),
                      kExitCannotWrite);
    }
    std::set<std::string> left;
    for (const auto& entry : fs::recursive_directory_iterator(folder_))
        left.insert(entry.path().filename().string());
    EXPECT_EQ(left, (std::set<std::string>{"full", "x", "file", "empty"}));
    EXPECT_EQ(CollectFrom(machine, {u"--help"}), 0);
    EXPECT_TRUE(out_.starts_with("usage: saltrove-collect DIR")) << out_;
    EXPECT_EQ(CollectFrom(machine, {u"--version"}), 0);
    EXPECT_TRUE(out_.starts_with("saltrove-collect 0.")) << out_;
}

TEST_F(Collect, OfALongLogTheLastLinesAreTaken) {
    std::string log;
    for (int line = 0; log.size() < 200'000; ++line)
        log += std::to_string(line) + "\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {log, log.substr(log.find('\n', log.size() - 65'536) + 1)},
        {"short\r\nlog", "short\r\nlog"},
        {std::string(70'000, 'x'), std::string(65'536, 'x')},
    };
    for (const auto& [bytes, kept] : cases) {
        Machine machine = MakeMachine();
        machine.drive.AddFile(kLog, bytes).isReadOnly = true;
        EXPECT_EQ(CollectFrom(machine), kExitComplete) << err_;
        const Machine image = image::ReadImage(target_).machine;
        EXPECT_EQ(platform::simulated::ReadContent(*image.drive.Find(kLog)), kept);
        EXPECT_TRUE(image.drive.Find(kLog)->isReadOnly);
        fs::permissions(target_ / "C/Windows/Temp/PatchCleanuplog.txt", fs::perms::owner_all);
        fs::remove_all(folder_ / "new");
    }
}

TEST_F(Collect, TellsHowFarItIsOnceASecond) {
    Machine machine = MakeIncrementalMachine();
    machine.clock.perReading = std::chrono::milliseconds(400);
    EXPECT_EQ(CollectFrom(machine), kExitComplete);
    EXPECT_EQ(err_,
              "saltrove-collect: packages read, 2 of 6\nsaltrove-collect: packages read, 5 of 6\n");
}

TEST_F(Collect, TakesWhereLinkedPackagesAreThatARunLooksFor) {
    Machine machine = MakeIncrementalMachine();
    const std::u16string sought[] = {u"C:\\Windows\\Installer\\sub\\x.dat", u"C:\\y.msp"};
    machine.registry.SetText(GetPackageKey(0), u"LocalPackage", sought[0]);
    machine.registry.SetText(GetPackageKey(1), u"LocalPackage",
                             u"c:\\windows\\installer\\..\\..\\Y.msp");
    machine.registry.SetText(GetPackageKey(2), u"LocalPackage", u"C:\\Elsewhere\\z.msp");
    machine.registry.SetText(GetPackageKey(3), u"LocalPackage", kCache + u"*.msp");
    for (const std::u16string& path :
         {sought[0], sought[1], std::u16string(u"C:\\Elsewhere\\z.msp")})
        machine.drive.AddFile(path, "x");
    EXPECT_EQ(CollectFrom(machine), kExitComplete) << err_;
    const Machine image = image::ReadImage(target_).machine;
    for (const std::u16string& path : sought)
        EXPECT_NE(image.drive.Find(path), nullptr);
    EXPECT_EQ(image.drive.Find(u"C:\\Elsewhere"), nullptr);
}

TEST_F(Collect, SaysHowToReplayAsFarAsTheMachineTells) {
    const auto collect = [&](Machine machine, std::vector<std::u16string> arguments = {}) {
        arguments.insert(arguments.begin(), target_.u16string());
        EXPECT_EQ(CollectFrom(machine, arguments), kExitComplete);
        fs::remove_all(folder_ / "new");
        return out_.substr(out_.find('\n') + 1);
    };
    const std::string replay = "Replay it with: saltrove-replay \"" +
                               platform::simulated::EncodeUtf8(target_.u16string()) + "\"";
    Machine machine = MakeIncrementalMachine();
    EXPECT_EQ(collect(MakeMachine()), "No product of the family has patches here.\n");
    EXPECT_EQ(collect(machine),
              replay + " -- \"{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}\" PRODUCTVERSION\n");
    EXPECT_EQ(collect(machine, {u"--", u"a"}), replay + "\n");
    machine.registry.SetText(kStore, u"CurrentPatchVersion", u"24.3.20790");
    EXPECT_EQ(collect(machine), replay +
                                    " -- \"{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}\" 24.3.20790\n"
                                    "That is the version of the last run.\n");
    const std::u16string other = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\"
                                 u"2E09A7B5E2D491C4A845CE3810F63C00\\Patches";
    const std::u16string code(32, u'A');
    machine.registry.SetValue(other, u"Patches", platform::REG_MULTI_SZ,
                              platform::simulated::MakeTextData(code + u'\0'));
    machine.registry.SetText(other, code, u"");
    EXPECT_EQ(collect(machine), "These products of the family have patches here:\n"
                                "  {5B7A90E1-4D2E-4C19-8A54-EC83016FC300}\n"
                                "  {5B7A90E2-4D2E-4C19-8A54-EC83016FC300}\n");
}

TEST_F(Collect, TellsTheStatusOfAProductInOneLine) {
    const std::u16string manager =
        u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const std::string start =
        R"({"format":1,"productCode":"{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}",)"
        R"("root":"SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR",)";
    Machine machine = MakeMachine();
    EXPECT_EQ(CollectFrom(machine, {u"--status", kProduct}), kExitComplete) << err_;
    EXPECT_EQ(out_, start + R"("exitState":null,"state":null,"productVersion":null,)"
                            R"("patchType":null,"lastCleanup":null,"daysSinceCleanup":null,)"
                            R"("hasRemoved":null,"linkedRemoved":null,"orphansFound":null,)"
                            "\"waitingForRestart\":[]}\n");
    Machine cleaned = MakeIncrementalMachine();
    AddFault(cleaned, "DeleteFileW", kCache + u"1.msp", 32);
    (void)RunTool(cleaned, {kProduct, u"24.3.20790.\"\u00E9\n"});
    machine.registry = cleaned.registry;
    machine.registry.SetDword(kStore, u"CleanupTime", kNow - 86'400 * 89 - 1);
    using namespace std::string_literals;
    const std::u16string others =
        u"\\??\\C:\\Windows\\Installer\\a.msi\0\0\\??\\C:\\Windows\\Installer\\b.msp\0"
        u"\\??\\C:\\c.msp\0\\??\\C:\\d.msp\0\0"s;
    const auto* list = machine.registry.FindValue(manager, u"PendingFileRenameOperations");
    machine.registry.SetValue(
        manager, u"PendingFileRenameOperations", platform::REG_MULTI_SZ,
        platform::simulated::MakeTextData(others + platform::simulated::GetCharacters(list->data)));
    EXPECT_EQ(CollectFrom(machine, {u"--status", kProduct}), kExitComplete) << err_;
    EXPECT_EQ(out_, start + R"("exitState":0,"state":"went to its end",)"
                            R"("productVersion":"24.3.20790.\"\u00E9\u000A",)"
                            R"("patchType":"Incremental","lastCleanup":"2026-08-21T07:37:41.000Z",)"
                            R"("daysSinceCleanup":89,"hasRemoved":true,"linkedRemoved":2,)"
                            R"("orphansFound":0,"waitingForRestart":["1.msp"]})"
                            "\n");
    AddFault(machine, "RegOpenKeyExW", manager, 5);
    AddFault(machine, "RegQueryValueExW", kStore + u"\\CleanupTime", 5);
    EXPECT_EQ(CollectFrom(machine, {u"--status", kProduct}), kExitPartial);
    EXPECT_NE(out_.find(R"("lastCleanup":null,)"), std::string::npos) << out_;
    EXPECT_NE(out_.find(R"("waitingForRestart":null)"), std::string::npos) << out_;
}

TEST_F(Collect, ListsWhatARunWouldRemoveAndRemovesNothing) {
    Machine machine = MakeIncrementalMachine();
    machine.drive.AddFile(kCache + u"o 1.msp", kOwnPackage);
    machine.registry.SetDword(kStore, u"CleanupTime", kNow);
    EXPECT_EQ(CollectFrom(machine, {u"--removals", kProduct, u"24.3.20790"}), kExitComplete);
    EXPECT_EQ(out_, "C:\\Windows\\Installer\\0.msp\nC:\\Windows\\Installer\\1.msp\n"
                    "C:\\Windows\\Installer\\o 1.msp\n");
    EXPECT_EQ(CollectFrom(machine, {u"--removals", kProduct, u"24.4"}), kExitPartial);
    EXPECT_EQ(out_, "");
}

}  // namespace
}  // namespace collect
