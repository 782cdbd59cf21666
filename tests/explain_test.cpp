#include "replay/explanation.h"

#include "image/image.h"
#include "platform/simulated/machine/pending_renames.h"
#include "platform/simulated/texts/unicode.h"
#include "replay/replay.h"
#include "support/host_files.h"
#include "support/images.h"
#include "support/machines.h"
#include "support/package_writer.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace replay {
namespace {

namespace fs = std::filesystem;
using namespace test;
using nlohmann::json;
using platform::simulated::DecodeUtf8;
using platform::simulated::EncodeUtf8;
using platform::simulated::MachineScope;

/// What saltrove-replay prints.
std::string Replay(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "saltrove-replay");
    std::ostringstream out;
    std::ostringstream err;
    const int status = RunReplay(arguments, out, err, false);
    EXPECT_LE(status, 1);
    // Some images are there to be doubted.
    const std::string complaint = err.str();
    EXPECT_TRUE(complaint.empty() || complaint.find(": warning: ") != std::string::npos)
        << complaint;
    return out.str();
}

/// What is told of the run of an image.
json ExplainImage(const fs::path& image) {
    return json::parse(Replay({image.string(), "--explain", "--format", "json"}));
}

std::u16string GetText(const json& package, const char* name) {
    return package[name].is_null() ? u""
                                   : DecodeUtf8(package[name].get<std::string>()).value_or(u"?");
}

class ExplainedImages : public testing::TestWithParam<fs::path> {};

TEST_P(ExplainedImages, LinkTheLogAndCountTheBytes) {
    const json document = ExplainImage(GetParam());
    std::map<std::string, std::uintmax_t> bytes;
    std::set<std::u16string> counted;
    for (const json& package : document["packages"]) {
        if (counted.insert(LocateFile(GetText(package, "path"))).second &&
            !package["size"].is_null())
            bytes[package["verdict"]] += package["size"].get<std::uintmax_t>();
    }
    for (const json& total : document["totals"])
        EXPECT_EQ(total["bytes"], bytes[total["verdict"]]) << total;
    const std::regex named(R"(\] (Patch|Orphan): .*\))");
    const std::regex ofPackage(R"(\] (Patch|Orphan): |\]   \[FAIL\] )");
    for (const json& line : document["log"]) {
        const std::string text = line["text"];
        ASSERT_TRUE(!std::regex_search(text, ofPackage) || line["package"].is_number()) << text;
        if (!std::regex_search(text, named))
            continue;
        const json& package = document["packages"][line["package"].get<std::size_t>()];
        const std::string path = package["path"].is_null() ? "" : package["path"];
        EXPECT_NE(text.find(path.substr(path.rfind('\\') + 1)), std::string::npos) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, ExplainedImages, testing::ValuesIn(FindImages(SALTROVE_SAMPLES)),
                         MakeTestName);
INSTANTIATE_TEST_SUITE_P(Tests, ExplainedImages, testing::ValuesIn(FindImages(SALTROVE_IMAGES)),
                         MakeTestName);

TEST(Explain, TellsItAsExpected) {
    for (const auto& text : fs::directory_iterator(SALTROVE_EXPLAINED)) {
        const fs::path sample = SALTROVE_SAMPLES / text.path().stem();
        const fs::path image = fs::exists(sample) ? sample : SALTROVE_IMAGES / text.path().stem();
        EXPECT_EQ(Replay({image.string(), "--explain"}), ReadFile(text.path())) << image;
    }
}

/// Runs the program on a machine and explains it.
Explanation ExplainMachine(Machine machine, const std::u16string& version) {
    const Machine before = machine;
    ProcessReport report;
    {
        const MachineScope scope(machine);
        report.exitCode = saltrove::RunProgram(
            std::vector<std::u16string>{u"Saltrove.exe", kProduct, version}, &report.record);
    }
    report.logBytes = ReadLogBytes(machine);
    report.undecodedPackages = machine.undecodedPackages;
    return ExplainRun(before, report);
}

/// The patch with that number, under another product too.
void Share(Machine& machine, int number) {
    const std::u16string classes = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products\\";
    const std::u16string product = u"00000000000000000000000000000001";
    const std::u16string patch = GetStateKey(number).substr(GetStateKey(number).rfind(u'\\') + 1);
    std::u16string key = GetStateKey(number);
    key.replace(key.find(u"1E09A7B5"), product.size(), product);
    machine.registry.CreateKey(classes + product);
    machine.registry.SetDword(key, u"State", 1);
    machine.registry.CreateKey(key.substr(0, key.find(u"\\Patches")) + u"\\InstallProperties");
}

struct HazardCase {
    const char* name;
    void (*prepare)(Machine&);
    std::string expected;  ///< the hazards and their subjects, a line each
};

const std::u16string kOtherUser =
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\"
    u"S-1-5-21-7\\Patches\\0";

// The machine is that of MakeIncrementalMachine, on which 0.msp and 1.msp go.
const HazardCase kHazardCases[] = {
    {"None", [](Machine&) {}, ""},
    {"ListEndsEarly",
     [](Machine& machine) { AddFault(machine, "MsiEnumPatchesExW", u"", 1610, 14); },
     "list-ended-early 4.msp\nlist-ended-early 5.msp\n"},
    {"ListEndsBehindAll",
     [](Machine& machine) { AddFault(machine, "MsiEnumPatchesExW", u"", 1610, 16); },
     "list-ended-early \n"},
    {"ListLacksAPath",
     [](Machine& machine) {
         AddFault(machine, "MsiGetPatchInfoExW", GetPatchCode(5) + u"\\LocalPackage", 5, 2);
     },
     "patch-missing-from-list 5.msp\n"
     "path-unreadable {12345678-9ABC-DEF0-1234-56789ABCDE50} of "
     "{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}\n"},
    {"ListOfTheProductEndsEarly",
     [](Machine& machine) { AddFault(machine, "MsiEnumPatchesExW", u"", 1610, 8, 8); },
     "product-list-ended-early \n"},
    {"AnotherUsersPatch",
     [](Machine& machine) {
         machine.drive.AddFile(kCache + u"8.msp", kOwnPackage);
         machine.drive.AddFile(kCache + u"9.msp", kOwnPackage);
         machine.registry.SetText(kOtherUser, u"LocalPackage", u"C:\\WINDOWS\\Installer\\8.MSP");
         machine.registry.SetText(kOtherUser + u"1", u"LocalPackage", kCache + u"0.msp");
         machine.registry.SetText(kOtherUser + u"2", u"LocalPackage", kCache + u"5.msp");
     },
     "linked-for-another-user 0.msp\nlinked-for-another-user 8.msp\n"},
    {"AStateIsMissing",
     [](Machine& machine) { machine.registry.RemoveValue(GetStateKey(3), u"State"); },
     "registered-but-unlinked 3.msp\n"},
    {"Shared",
     [](Machine& machine) {
         Share(machine, 0);
         Share(machine, 4);
     },
     "package-shared 0.msp\n"},
    {"AboveTheLastCumulative",
     [](Machine& machine) {
         AddPatch(machine, 6, {2, u"Update (24.3.20800)", u"Upd2400320800_incr.msp", u"6.msp"});
         AddPatch(machine, 7, {8, u"Update (24.3.20801)", u"Upd2400320801_incr.msp", u"7.msp"});
     },
     "needed-after-uninstall 6.msp\n"},
    {"InsideATransaction",
     [](Machine& machine) {
         for (const auto& [file, text] : {std::pair(u"8.msp", "Kelvane Ostrel 24.3.20790"),
                                          std::pair(u"9.msp", "3 Kelvane Ostrel 24.10.1 of 1.2")})
             machine.drive.AddFile(kCache + file,
                                   WritePackage(MakePackage({{"Description", text}})));
     },
     "newer-orphan 9.msp\n"},
    {"PendingBefore",
     [](Machine& machine) {
         for (const char16_t* file : {u"5.msp", u"none.msp"})
             platform::simulated::RegisterDeletion(machine.registry, kCache + file,
                                                   machine.soundRenames);
     },
     "deletion-pending 5.msp\n"},
    {"Marked", [](Machine& machine) { AddFault(machine, "DeleteFileW", kCache + u"1.msp", 32); },
     "mark-stays 1.msp\n"},
    {"Failed", [](Machine& machine) { AddFault(machine, "DeleteFileW", kCache + u"1.msp", 19); },
     "removal-failed 1.msp\n"},
    {"PackageNames",
     [](Machine& machine) {
         AddPatch(machine, 6, {8, u"", u"Upd2400110001_INCR.msp", u"6.msp"});
         AddPatch(machine, 7, {8, u"", u"202411070001-2400110001_incr.msp", u"7.msp"});
     },
     "incr-in-capitals 6.msp\nnumber-ambiguous 7.msp\n"},
    {"States",
     [](Machine& machine) {
         FailProperty(machine, 3, u"State");
         machine.registry.SetDword(GetStateKey(5), u"State", 3);
     },
     "state-unreadable 3.msp\nstate-unreadable 5.msp\n"},
    {"ShortNames",
     [](Machine& machine) { machine.drive.AddFile(kCache + u"8.msp_old", kOwnPackage); },
     "short-name-only 8.msp_old\n"},
    {"Spellings",
     [](Machine& machine) {
         machine.registry.SetText(GetPackageKey(3), u"LocalPackage",
                                  u"C:\\Windows\\\\Installer/3.msp");
         machine.registry.SetText(GetPackageKey(5), u"LocalPackage", kCache + u"LONGNA~2.MSP");
         machine.drive.AddFile(kCache + u"long name five.msp", kOwnPackage);
         machine.drive.Remove(kCache + u"5.msp");
     },
     "other-spelling 3.msp\nother-spelling long name five.msp\n"},
    {"WindowsFolders",
     [](Machine& machine) {
         machine.windowsDirectory = u"D:\\Windows";
         machine.drive.AddFile(u"C:\\WinNT\\Installer\\8.msp", kOwnPackage);
     },
     "other-windows-folder D:\\Windows\nother-windows-folder C:\\WinNT\\Installer\n"},
    {"CodePage",
     [](Machine& machine) {
         machine.undecodedPackages.push_back({kCache + u"8.msp", 1259});
     },
     "code-page-unknown 8.msp\n"},
};

TEST(Explain, FindsEachHazardWhereItIs) {
    std::set<std::string_view> seen;
    for (const HazardCase& row : kHazardCases) {
        Machine machine = MakeIncrementalMachine();
        row.prepare(machine);
        std::string found;
        for (const Hazard& hazard : ExplainMachine(machine, u"24.3.20790").hazards) {
            seen.insert(hazard.name);
            found += std::string(hazard.name) + " " + EncodeUtf8(hazard.subject) + "\n";
        }
        EXPECT_EQ(found, row.expected) << row.name;
    }
    const std::vector<std::string_view> names = GetHazardNames();
    EXPECT_EQ(seen, std::set<std::string_view>(names.begin(), names.end()));
    const json schema = json::parse(ReadFile(SALTROVE_SCHEMA));
    EXPECT_EQ(schema["properties"]["hazards"]["items"]["properties"]["hazard"]["enum"], names);
}

TEST(Explain, TheHazardsOfTheDocumentAreShownByItsImages) {
    // Such as *`one-image`, `another`* (one-hazard, another).
    const std::string text = ReadFile(SALTROVE_LIMITS);
    const std::regex places(R"(\*((?:`[a-z-]+`(?:, )?)+)\*\s\(([a-z,\s-]+)\))");
    const std::regex names(R"([a-z-]+)");
    int hazards = 0;
    for (std::sregex_iterator place(text.begin(), text.end(), places), end; place != end; ++place) {
        std::string found;
        const std::string images = (*place)[1];
        for (std::sregex_iterator image(images.begin(), images.end(), names); image != end; ++image)
            found += ExplainImage(fs::path(SALTROVE_IMAGES) / image->str())["hazards"].dump();
        const std::string expected = (*place)[2];
        for (std::sregex_iterator hazard(expected.begin(), expected.end(), names); hazard != end;
             ++hazard, ++hazards)
            EXPECT_NE(found.find("\"" + hazard->str() + "\""), std::string::npos)
                << hazard->str() << " in " << images;
    }
    EXPECT_EQ(hazards, 15);
}

/// Rows as "file kind verdict", a line each.
std::string DescribeRows(const Explanation& explanation) {
    std::string text;
    for (const PackageRow& row : explanation.rows)
        text += EncodeUtf8(row.file) + " " + std::string(GetKindName(row.kind)) + " " +
                std::string(GetVerdictName(row.verdict)) + "\n";
    return text;
}

TEST(Explain, OnePathIsOneRowAndOneFileHasOneVerdict) {
    Machine machine = MakeIncrementalMachine();
    machine.registry.SetText(GetPackageKey(0), u"LocalPackage", kCache + u"1.MSP");  // two patches
    machine.registry.SetText(GetPackageKey(3), u"LocalPackage", kCache + u"\\3.msp");  // unlinked
    FailProperty(machine, 5, u"LocalPackage");
    Share(machine, 4);
    const Explanation explanation = ExplainMachine(machine, u"24.3.20790");
    EXPECT_EQ(DescribeRows(explanation), "1.MSP patch deleted\n"
                                         "2.msp patch kept\n"
                                         "C:\\Windows\\Installer\\\\3.msp patch deleted\n"
                                         "4.msp patch kept\n"
                                         " unread left-alone\n"
                                         "0.msp orphan deleted\n"
                                         "3.msp orphan deleted\n"
                                         "5.msp orphan deleted\n");
    EXPECT_NE(explanation.rows[3].reason.find(u"also linked by"), std::u16string::npos);
    EXPECT_EQ(SumUpVerdicts(explanation.rows)[0].bytes, 4 * kOwnPackage.size());
}

TEST(Explain, AfterGivingUpNothingIsToldAsGoneAndWithoutALogAllIsTold) {
    Machine machine = MakeIncrementalMachine();
    machine.drive.AddFile(kCache + u"8.msp", kOwnPackage);
    machine.drive.AddFile(kCache + u"9.msp", "");
    const Explanation givenUp = ExplainMachine(machine, u"1.2.3");
    EXPECT_NE(givenUp.rows[0].reason.find(u"nothing was decided"), std::u16string::npos);
    std::string rows = DescribeRows(givenUp);
    EXPECT_TRUE(rows.ends_with("5.msp patch kept\n8.msp orphan left-alone\n"
                               "9.msp no-package left-alone\n"))
        << rows;
    rows = DescribeRows(ExplainMachine(machine, u"24.3.20790"));
    machine.registry.SetDword(kStore, u"EnablePatchCleanuplog", 0);
    const Explanation silent = ExplainMachine(machine, u"24.3.20790");
    EXPECT_EQ(DescribeRows(silent), rows);
    // A run that was refused is told as if it had not been.
    machine.registry.SetDword(kRoot + u"\\WebResource", u"iRandom", 1);
    const Explanation refused = ExplainMachine(machine, u"24.3.20790");
    EXPECT_EQ(refused.exitState, 5);
    EXPECT_EQ(DescribeRows(refused), rows);
}

}  // namespace
}  // namespace replay
