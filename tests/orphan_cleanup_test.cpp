#include "cleanup/orphan_cleanup.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

TEST(OrphanCleanup, AnOrphanNamesTheFamily) {
    for (const char16_t* description : {u"an update of kelvane ostrel 1.2", u"kelvane lumeth"})
        EXPECT_TRUE(NamesProductFamily(description));
    for (const char16_t* description : {u"", u"ostrel lumeth", u"kelvane  ostrel"})
        EXPECT_FALSE(NamesProductFamily(description));
}

}  // namespace
}  // namespace saltrove
