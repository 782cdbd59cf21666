#include "inventory/patch_record.h"

#include "inventory/installer_query.h"
#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

TEST(InstallerQuery, PacksAGuidInBracesAndNothingElse) {
    EXPECT_EQ(PackGuid(u"{12345678-9ABC-DEF0-1234-56789ABCDEF0}"),
              u"87654321CBA90FED21436587A9CBED0F");
    EXPECT_EQ(PackGuid(u"{abcdefgh?ijkl?mnop?qrst?uvwxyzABCDEF}"),
              u"hgfedcbalkjiponmrqtsvuxwzyBADCFE")
        << "letter case stays, and nobody looks at hyphens or digits";
    for (const char16_t* text :
         {u"12345678-9ABC-DEF0-1234-56789ABCDEF0", u"{12345678-9ABC-DEF0-1234-56789ABCDEF}",
          u"{12345678-9ABC-DEF0-1234-56789ABCDEF00}", u"[12345678-9ABC-DEF0-1234-56789ABCDEF0}",
          u"{12345678-9ABC-DEF0-1234-56789ABCDEF0]", u""})
        EXPECT_FALSE(PackGuid(text));
}

TEST(InstallerQuery, ReadsANumberAsFarAsItGoes) {
    EXPECT_EQ(ReadDecimalPrefix(u"00000008 "), 8);
    EXPECT_EQ(ReadDecimalPrefix(u" \t-12x9"), -12);
    EXPECT_EQ(ReadDecimalPrefix(u"+99999999999"), 2147483647);
    EXPECT_EQ(ReadDecimalPrefix(u"-99999999999"), -2147483648);
    for (const char16_t* text : {u"", u"x1", u"X1", u"--1", u"- 1"})
        EXPECT_EQ(ReadDecimalPrefix(text), 0);
}

}  // namespace
}  // namespace saltrove
