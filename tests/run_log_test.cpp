#include "run/run_log.h"

#include "support/machines.h"

#include <gtest/gtest.h>

// What stands in the file is tested by the images whose names begin with "log".

namespace saltrove {
namespace {

using namespace test;

const std::string kStamp = "[2026-11-18 07:37:42.000] ";

TEST(RunLog, EachLineIsWithTheSystemWhenItsCallReturns) {
    Machine machine = MakeMachine();
    RunWithLog(machine, [&] {
        WriteRunLog(u"first");
        EXPECT_EQ(LogBytes(machine), kStamp + "first\r\n");
    });
    EXPECT_EQ(NumbersOf(machine, "_wfsopen"), std::vector<std::uint64_t>{64}) << "shared with all";
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

TEST(RunLog, AFileThatCannotBeOpenedIsNotTriedAgain) {
    Machine machine = MakeMachine();
    AddFault(machine, "_wfsopen", kLog, 13);
    RunWithLog(machine, [] {
        WriteRunLog(u"one");
        WriteRunLog(u"two");
    });
    EXPECT_EQ(machine.CallCount("_wfsopen"), 1U);
}

}  // namespace
}  // namespace saltrove
