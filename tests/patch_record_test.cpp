#include "inventory/patch_record.h"

#include "inventory/installer_query.h"
#include "support/machines.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

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

// What else a record holds, or lacks, is in the logs of the images.
TEST(PatchRecord, APatchWhosePackageCannotBeReadIsLeftOutAndARepeatedOneRepeated) {
    Machine machine = MakeIncrementalMachine();
    FailProperty(machine, 0, u"LocalPackage");
    machine.registry.RemoveKey(GetSourceListKey(2));
    AddPatch(machine, 4, {1, u"Update", u"Upd", u"4.msp"});
    RunWithLog(machine, [] {
        const std::vector<PatchRecord> patches = EnumerateProductPatches(kProduct);
        ASSERT_EQ(patches.size(), 6U);
        EXPECT_EQ(patches[0].patchCode, GetPatchCode(1));
        EXPECT_EQ(patches[0].localPackage, kCache + u"1.msp");
        EXPECT_EQ(patches[1].packageName + patches[1].versionNumber, u"");
        EXPECT_EQ(patches[5].patchCode, patches[3].patchCode);
    });
    EXPECT_EQ(FindNumbers(machine, "MsiEnumPatchesExW"), (std::vector<std::uint64_t>{4, 15, 0}));
}

}  // namespace
}  // namespace saltrove
