#include "image/machine_ini.h"

#include "support/image_errors.h"
#include "support/machines.h"

#include <gtest/gtest.h>

namespace image {
namespace {

using test::Machine;
using Step = platform::simulated::PackageReading::Step;

Machine Read(const std::string& bytes) {
    Machine machine;
    ReadMachineIni("machine.ini", bytes, machine);
    return machine;
}

// The plain lines are read by every image.
TEST(MachineIni, TakesWhatIsOddInALineAsItIs) {
    Machine machine = Read("\xEF\xBB\xBF; comment\r\n"
                           "[key-errors]\nHKEY_CURRENT_USER\\A=B = 5\n"
                           "[process]\r\n account = S-1-5-21-1-2-3-500 \r\nsession=2\n"
                           "module = D:\\some tools\\\xC3\xA9=1.exe\n"
                           "[clock]\nutc = 2026-11-18T07:37:42.123Z\noffset = -90\n"
                           "[windows]\ndirectory =\n"
                           "[missing]\nMSI.dll =\nmsi.dll!MsiGetPatchInfoExW =\n"
                           "[processes]\n4711 = 1, S-1-5-21-9, C:\\Windows\\a, b.exe\n"
                           "[delete-errors]\nC:\\x=y\\a.msp = 32\n"
                           "[mark-errors]\nc:\\X\\A.msp = 1314\n"
                           "[create-errors]\nHKEY_LOCAL_MACHINE\\C = 4294967295\n");
    EXPECT_EQ(machine.process.module, u"D:\\some tools\\\u00E9=1.exe");
    EXPECT_EQ(machine.clock.offset.count(), -90);
    EXPECT_EQ(machine.windowsDirectory, u"");
    EXPECT_TRUE(machine.IsMissing(u"msi.dll", ""));
    EXPECT_EQ(machine.processes.at(0).imagePath, u"C:\\Windows\\a, b.exe");
    EXPECT_EQ(machine.faults.Meet("DeleteFileW", u"C:\\X=Y\\A.MSP"), 32U);
    EXPECT_EQ(machine.faults.Meet("MoveFileExW", u"C:\\x\\a.msp"), 1314U);
    const std::u16string key = u"HKEY_USERS\\S-1-5-21-1-2-3-500\\a=b";
    EXPECT_EQ(machine.faults.Meet("RegOpenKeyExW", key), 5U);
    EXPECT_EQ(machine.faults.Meet("RegOpenKeyExW", key + u"\\below"), std::nullopt);
    EXPECT_EQ(machine.faults.Meet("RegCreateKeyExW", u"HKEY_LOCAL_MACHINE\\C"), 4294967295U);
    EXPECT_EQ(machine.faults.Meet("RegOpenKeyExW", u"HKEY_LOCAL_MACHINE\\C"), std::nullopt);
}

TEST(MachineIni, APackageWithoutItsBytesSurvivesWhateverItsTextsAre) {
    Machine machine;
    const struct {
        std::u16string path;
        platform::simulated::PackageReading reading;
    } packages[] = {
        {u"C:\\a = b; [c].msp", {Step::None, 0, u" \"a\\b\"\r\n\t\x7F\u0085\u00E9 "}},
        {u"C:\\Deep\\er\\\xD83D\xDE00.msp", {Step::None, 0, u"\xD83D\xDE00 \xDE00\xD83D"}},
        {u"C:\\lone \xD83D.msp", {Step::None, 0, u""}},
        {u"C:\\open.msp", {Step::Open, 110, u""}},
        {u"C:\\query.msp", {Step::Query, 1615, u""}},
        {u"C:\\execute.msp", {Step::Execute, 0xFFFFFFFF, u""}},
    };
    for (const auto& package : packages) {
        auto& node = machine.drive.AddFile(package.path, "");
        node.size = 0xFFFFFFFFFF;
        node.isReadOnly = true;
        node.otherAttributes = 0x2022;
        node.reading = package.reading;
    }
    const std::string ini = "; kept\n[package]\n; gone\npath=c:/X.msp\nsize=1\n"
                            "description=\"\"\n\n[clock]\noffset = 60\n\n";
    const std::string rewritten = RewritePackages(ini, machine.drive);
    EXPECT_TRUE(rewritten.starts_with("; kept\n[clock]\noffset = 60\n\n[package]\n")) << rewritten;
    const Machine again = Read(rewritten);
    for (const auto& package : packages) {
        const auto* node = again.drive.Find(package.path);
        ASSERT_NE(node, nullptr) << rewritten;
        ASSERT_TRUE(node->reading);
        EXPECT_EQ(node->reading->failedStep, package.reading.failedStep);
        EXPECT_EQ(node->reading->error, package.reading.error);
        EXPECT_EQ(node->reading->description, package.reading.description);
        EXPECT_EQ(node->size, 0xFFFFFFFFFF);
        EXPECT_EQ(GetAttributes(*node), 0x2023U);
    }
    EXPECT_EQ(RewritePackages(rewritten, again.drive), rewritten);
}

TEST(MachineIni, NamesPlaceAndReasonOfAFault) {
    const struct {
        const char* bytes;
        const char* error;
    } cases[] = {
        {"account = S-1-5-18", "machine.ini:1: a line in front of the first section"},
        {"\n[proces]", "machine.ini:2: \"[proces]\" is not a section"},
        {"[process]\n[process]\nsession", "machine.ini:3: [process]: the line has no \"=\""},
        {"[process]\nsession = 1\nSESSION = 2", "\"SESSION\" stands here a second time"},
        {"[process]\nuser = x",
         "[process]: \"user\" is not a key of this section (account, session"},
        {"[process]\naccount = SYSTEM", "[process]: \"SYSTEM\" is not a SID"},
        {"[process]\nsession = 4294967296", "\"4294967296\" is not a session (0 to 4294967294)"},
        {"[process]\nmodule =", "machine.ini:2: [process]: the path is empty"},
        {"[clock]\nutc = 2026-11-18 07:37:42", "is not a time in UTC"},
        {"[clock]\nutc = 2026-02-29T07:37:42Z", "is not a time in UTC"},
        {"[clock]\nutc = 2026-11-18T24:00:00.000Z", "is not a time in UTC"},
        {"[clock]\noffset = 1441", "is not a number of minutes (-1440 to 1440)"},
        {"[missing]\nmsi =", "\"msi\" is not a module that the machine has"},
        {"[missing]\nmsi.dll!Nothing =", "\"msi.dll!Nothing\" is not a module"},
        {"[missing]\nmsi.dll! =", "\"msi.dll!\" is not a module"},
        {"[missing]\nmsi.dll = 1", "nothing stands behind the \"=\""},
        {"[sessions]\n1 = actve",
         "machine.ini:2: [sessions]: \"actve\" is not a state (active, disconnected)"},
        {"[sessions]\n-1 = active", "\"-1\" is not a session"},
        {"[processes]\n1 = 2, S-1-5-18", "is not \"SESSION, SID, IMAGE PATH\""},
        {"[processes]\n1 = 2, S-1-5-18,", "the path is empty"},
        {"[processes]\nx = 2, S-1-5-18, a", "\"x\" is not a process id"},
        {"[delete-errors]\nC:\\a = 0", "\"0\" is not an error code"},
        {"[mark-errors]\n = 5", "the path is empty"},
        {"[key-errors]\nHKLM\\A = 5", "\"HKLM\\A\" is not a registry key"},
        {"[create-errors]\nHKEY_USERS\\A = five", "\"five\" is not an error code"},
        {"[process]\n; \xFF", "machine.ini:2: invalid UTF-8"},
    };
    for (const auto& row : cases)
        test::ExpectImageError(row.error, [&] { Read(row.bytes); });
}

TEST(MachineIni, NamesWhatIsWrongWithAPackage) {
    const std::string rest = "size = 1\ndescription = \"\"\n";
    const std::string whole = "[package]\npath = C:\\x\\a.msp\n" + rest;
    const std::pair<std::string, std::string> cases[] = {
        {"[package]\nsize=1\nfailed=open 1\n[clock]\n", ":1: [package]: the package has no path"},
        {"\n[package]\npath=C:\\a\nfailed=open 1\n", ":2: [package]: the package has no size"},
        {"[package]\npath=C:\\a\nsize=1\n\n", ":1: [package]: the package has no description"},
        {whole + "failed = open 5", ":5: [package]: there is a description as well as a failure"},
        {whole + "size = 1", "\"size\" stands here a second time"},
        {whole + "name = a", "\"name\" is not a key of this section (path, size, attributes"},
        {whole + "[package]\npath = c:/X/./A.msp",
         ":6: [package]: \"C:\\X\\A.msp\" stands in a second"},
        {whole + "[package]\npath = C:\\x", "\"C:\\x\" is a folder of drive C: as well"},
        {whole + "[package]\npath = C:\\x\\a.msp\\b",
         "lies below \"C:\\x\\a.msp\", which is a file"},
        {"[package]\npath = a.msp",
         ":2: [package]: \"a.msp\" is not the absolute path of a file on"},
        {"[package]\npath = D:\\a.msp", "\"D:\\a.msp\" is not the absolute path"},
        {"[package]\npath = C:\\", "is not the absolute path"},
        {"[package]\npath = C:\\*.msp", "is not the absolute path"},
        {"[package]\npath = \"C:\\\\a\\u0007.msp\"", "is not the absolute path"},
        {"[package]\nsize = -1", "\"-1\" is not a number of bytes"},
        {"[package]\nsize = 18446744073709551616", "is not a number of bytes"},
        {"[package]\nattributes = 32", "\"32\" is not the attribute bits of a file, such as 0x20"},
        {"[package]\nattributes = 0x10", "\"0x10\" has the bit of a folder"},
        {"[package]\nfailed = fetch 5",
         "\"fetch\" is not a step of reading a package (open, query,"},
        {"[package]\nfailed = open", "\"\" is not an error code"},
        {"[package]\nfailed = open 0", "\"0\" is not an error code"},
        {"[package]\ndescription = a", "\"a\" is not a text in quotes"},
        {"[package]\ndescription = \"", "ends in no quote"},
        {"[package]\ndescription = \"a\" b\"", "or in front of the line's end"},
        {"[package]\ndescription = \"\\n\"", "behind a \\ in quotes stands"},
        {"[package]\ndescription = \"\\u12\"", "behind a \\ in quotes stands"},
        {"[package]\ndescription = \"\\u12\"45\"", "is not a character in hexadecimal digits"},
        {"[package]\ndescription = \"\\u0000\"", "\"0000\" is not a character"},
    };
    for (const auto& row : cases)
        test::ExpectImageError(row.second, [&] { Read(row.first); });
    test::ExpectImageError("machine.ini:2: [package]: \"C:\\A.msp\" is a file in C/ as well", [] {
        Machine machine;
        machine.drive.AddFile(u"C:\\a.msp", "");
        ReadMachineIni("machine.ini", "[package]\npath = C:\\A.msp\nsize = 1\nfailed = open 1",
                       machine);
    });
}

}  // namespace
}  // namespace image
