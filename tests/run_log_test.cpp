#include "run/run_log.h"

#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

const std::string kStamp = "[2026-11-18 07:37:42.000] ";

TEST(RunLog, IsSwitchedOnByADwordOfOneAlone) {
    const struct {
        const char* value;
        bool isOn;
    } cases[] = {{"dword:1", true}, {"dword:0", false},         {"dword:2", false},
                 {"\"1\"", false},  {"hex:01,00,00,00", false}, {"hex(4):01,00,00,00,00", false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.value);
        Machine machine = MakeMachine();
        SetValue(machine, kStore, "\"EnablePatchCleanuplog\"=" + std::string(row.value));
        RunWithLog(machine, [] { WriteRunLog(u"line"); });
        EXPECT_EQ(LogBytes(machine), row.isOn ? kStamp + "line\r\n" : "(no log)");
    }
}

TEST(RunLog, StaysOffForAnUnknownProductAndBeforeItIsStarted) {
    Machine machine = MakeMachine();
    {
        const platform::simulated::MachineScope scope(machine);
        WriteRunLog(u"too early");
        InitRunLog(u"no such product");
        WriteRunLog(u"line");
        InitRunLog(kProduct);
        CloseRunLog();
        WriteRunLog(u"too late");
    }
    EXPECT_EQ(LogBytes(machine), "(no log)");
    EXPECT_EQ(machine.CallCount("GetFileAttributesW"), 0U);
}

TEST(RunLog, WritesOneByteACharacterAndCrLf) {
    Machine machine = MakeMachine();
    RunWithLog(machine, [] {
        WriteRunLog(u"caf\u00E9 \u00FF\u0001");
        WriteRunLog(u"");
        WriteRunLog(u"ends in a line feed\n");
    });
    RunWithLog(machine, [] { WriteRunLog(u"second run"); });
    EXPECT_EQ(LogBytes(machine), kStamp + "caf\xE9 \xFF\x01\r\n" + kStamp + "\r\n" + kStamp +
                                     "ends in a line feed\r\n\r\n" + kStamp + "second run\r\n");
    EXPECT_EQ(NumbersOf(machine, "_wfsopen"), std::vector<std::uint64_t>{64}) << "shared with all";
}

TEST(RunLog, EachLineIsWithTheSystemWhenItsCallReturns) {
    Machine machine = MakeMachine();
    RunWithLog(machine, [&] {
        WriteRunLog(u"first");
        EXPECT_EQ(LogBytes(machine), kStamp + "first\r\n");
    });
}

TEST(RunLog, ACharacterWithoutAByteEndsIt) {
    Machine machine = MakeMachine();
    RunWithLog(machine, [&] {
        WriteRunLog(u"whole");
        WriteRunLog(u"cut \u4E2D here");
        WriteRunLog(u"lost");
        EXPECT_EQ(LogBytes(machine), kStamp + "whole\r\n");
    });
    EXPECT_EQ(LogBytes(machine), kStamp + "whole\r\n" + kStamp + "cut ");
}

TEST(RunLog, AFailedWriteOrFlushEndsIt) {
    for (const char* call : {"fwrite", "fflush"}) {
        SCOPED_TRACE(call);
        Machine machine = MakeMachine();
        // A line is three writes and a flush: its second line is the one that fails.
        AddFault(machine, call, u"", 112, call == std::string("fwrite") ? 4 : 2, 5);
        RunWithLog(machine, [] {
            for (const char16_t* text : {u"one", u"two", u"three"})
                WriteRunLog(text);
        });
        EXPECT_EQ(LogText(machine).substr(0, 4), "one\n");
        EXPECT_EQ(LogText(machine).find("three"), std::string::npos);
        EXPECT_EQ(machine.CallCount("GetLocalTime"), 3U) << "nothing but the file is given up";
    }
}

TEST(RunLog, WithoutItsDirectoryNothingIsMadeAndNothingTriedAgain) {
    Machine machine = MakeMachine();
    machine.drive.Remove(u"C:\\Windows\\Temp");
    RunWithLog(machine, [] {
        WriteRunLog(u"one");
        WriteRunLog(u"two");
    });
    EXPECT_EQ(machine.drive.Find(u"C:\\Windows\\Temp"), nullptr);
    EXPECT_EQ(machine.CallCount("GetFileAttributesW"), 1U);

    machine.drive.AddFile(u"C:\\Windows\\Temp", "a file in the directory's place");
    RunWithLog(machine, [] { WriteRunLog(u"one"); });
    EXPECT_EQ(LogBytes(machine), "(no log)");
}

}  // namespace
}  // namespace saltrove
