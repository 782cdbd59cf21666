#include "records/cleanup_store.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

TEST(CleanupStore, ReducesPathsToFileNames) {
    const struct {
        const char16_t* paths;
        const char16_t* names;
    } cases[] = {
        {u"", u""},
        {u"C:\\Windows\\Installer\\a.msp", u"a.msp"},
        {u"C:\\Windows\\Installer\\a.msp;C:\\Windows\\Installer\\b.msp", u"a.msp;b.msp"},
        {u"a.msp;;C:\\b.msp;", u"a.msp;b.msp"},
        {u"C:\\x;y\\a.msp", u"x;a.msp"},
        {u"C:\\a\\;C:\\b.msp;C:\\c\\", u"b.msp;"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(ReduceToFileNames(row.paths), row.names);
}

}  // namespace
}  // namespace saltrove
