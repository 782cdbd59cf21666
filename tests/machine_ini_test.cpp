#include "image/machine_ini.h"

#include "support/image_errors.h"
#include "support/machines.h"

#include <gtest/gtest.h>

namespace image {
namespace {

using test::Machine;

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

}  // namespace
}  // namespace image
