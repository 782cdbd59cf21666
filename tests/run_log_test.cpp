#include "log/run_log.h"

#include "support/machines.h"

#include <gtest/gtest.h>

// What stands in the file is tested by the images whose names begin with "log".

namespace saltrove {
namespace {

using namespace test;

const std::string kStamp = "[2026-11-18 07:37:42.000] ";

TEST(RunLog, AFailedWriteOrFlushEndsIt) {
    for (const char* call : {"fwrite", "fflush"}) {
        SCOPED_TRACE(call);
        Machine machine = MakeMachine();
        AddFault(machine, call, u"", 112, 2, 2);
        RunWithLog(machine, [] {
            for (const char16_t* text : {u"one", u"two", u"three"})
                WriteRunLog(text);
        });
        const bool isTaken = call == std::string("fflush");
        EXPECT_EQ(ReadLogText(machine), isTaken ? "one\ntwo\n" : "one\n");
    }
}

TEST(RunLog, ALineIsInTheFileAtOnceAndOneThatIsCutWhenItIsClosed) {
    Machine machine = MakeMachine();
    RunWithLog(machine, [&] {
        WriteRunLog(u"one");
        WriteRunLog(u"two \u00FF\u0100 of two");
        WriteRunLog(u"three");
        EXPECT_EQ(ReadLogBytes(machine), kStamp + "one\r\n");
    });
    EXPECT_EQ(ReadLogBytes(machine), kStamp + "one\r\n" + kStamp + "two \xFF");
    EXPECT_EQ(FindNumbers(machine, "_wfsopen"), std::vector<std::uint64_t>{64}) << "shared";
}

TEST(RunLog, AFolderThatCannotBeAskedAboutOrAFileThatCannotBeOpenedIsNotTriedAgain) {
    for (const char* call : {"GetFileAttributesW", "_wfsopen"}) {
        Machine machine = MakeMachine();
        AddFault(machine, call, u"", 5, 1, 1);
        RunWithLog(machine, [] {
            WriteRunLog(u"one");
            WriteRunLog(u"two");
        });
        EXPECT_EQ(ReadLogBytes(machine), "(no log)") << call;
        EXPECT_EQ(machine.CountCalls("_wfsopen"), 1U);
        const std::u16string path = call == std::string("_wfsopen") ? kLog : u"";
        for (const auto& record : machine.calls)
            EXPECT_TRUE(record.call != "_wfsopen" || record.subject == path);
    }
}

}  // namespace
}  // namespace saltrove
