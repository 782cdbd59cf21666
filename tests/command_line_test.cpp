#include "platform/simulated/command_line.h"

#include <gtest/gtest.h>

namespace platform::simulated {
namespace {

TEST(CommandLine, IsSplitAsACProgramGetsIt) {
    using Arguments = std::vector<std::u16string>;
    EXPECT_EQ(SplitCommandLine(u"\"C:\\a b\\\" {c} usercontext"),
              (Arguments{u"C:\\a b\\", u"{c}", u"usercontext"}));
    EXPECT_EQ(SplitCommandLine(u"a b\\\\\\\"c \t\"d \\\\\" \"\"  \"e\"\"f\" g\\\\h"),
              (Arguments{u"a", u"b\\\"c", u"d \\", u"", u"e\"f", u"g\\\\h"}));
}

}  // namespace
}  // namespace platform::simulated
