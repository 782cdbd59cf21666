#include "inventory/package_metadata.h"

#include "platform/simulated/packages/little_endian.h"
#include "support/machines.h"
#include "support/package_writer.h"

#include <gtest/gtest.h>

namespace saltrove {
namespace {

using namespace test;

const std::u16string kPath = kCache + u"a.msp";
const std::string kNoOpen = "  [FAIL] Failed to open MSP file.\n!\n";
const std::string kNoView = "  [FAIL] Failed to create view for Description.\n";
const std::string kNoLog = "!(no log)\n";
const Package kPackage = MakePackage({{"Description", "text"}});

struct Result {
    std::u16string description;
    std::optional<PackageFailure> failure = PackageFailure{};
    std::string log;
    std::size_t undecoded = 0;  ///< packages whose code page alone was in the way
};

/// Reads the description of these bytes, and makes sure that the file can be deleted right away.
Result Read(const std::string& bytes, const char* failingCall = "none") {
    Machine machine = MakeMachine();
    machine.drive.AddFile(kPath, bytes);
    AddFault(machine, failingCall, u"", 1610);
    Result result;
    RunWithLog(machine,
               [&] { result.description = GetDescriptionFromMsp(kPath, &result.failure); });
    result.log = ReadLogText(machine);
    result.undecoded = machine.undecodedPackages.size();
    return result;
}

TEST(PackageMetadata, TakesTheFirstDescriptionInAnyLetterCase) {
    const std::string longText(300, 'x');
    const std::string longName(130, 'D');
    const struct {
        const char* name;
        std::vector<std::pair<std::string, std::string>> rows;
        std::u16string description;
    } cases[] = {
        {"One", {{"Other", "a"}, {"Description", "Text"}, {"Last", "b"}}, u"Text"},
        {"FirstOfTwo", {{"DESCRIPTION", "first"}, {"Description", "second"}}, u"first"},
        {"FirstIsEmpty", {{"description", ""}, {"Description", "second"}}, u""},
        {"NoSuchProperty", {{"Descriptions", "a"}}, u""},
        {"NoRows", {}, u""},
        {"CutAt255", {{longName, "a"}, {"Description", longText}}, std::u16string(255, u'x')},
        {"Latin1AndMore", {{"Description", "caf\xE9 \x80"}}, u"caf\u00E9 \u20AC"},
    };
    for (const auto& row : cases) {
        const Result result = Read(WritePackage(MakePackage(row.rows)));
        EXPECT_EQ(result.description, row.description) << row.name;
        EXPECT_EQ(result.log, kNoLog) << row.name;
    }
}

TEST(PackageMetadata, ReadsEveryShapeOfPackage) {
    for (const std::size_t sectorSize : {512U, 4096U}) {
        for (const bool isLong : {false, true}) {
            for (const std::size_t filler : {5'000U, 70'000U, 9'000'000U}) {
                Package package = MakePackage(
                    {{"Filler", std::string(filler, 'f')}, {"Description", "\xE4\xB8\xAD \xFF"}});
                package.codePage = isLong ? 65001 : 0;
                package.hasLongReferences = isLong;
                package.sectorSize = sectorSize;
                EXPECT_EQ(Read(WritePackage(package)).description,
                          isLong ? u"\u4E2D \uFFFD" : u"\u00E4\u00B8\u00AD \u00FF")
                    << sectorSize << " " << filler;
            }
        }
    }
}

TEST(PackageMetadata, SaysWhatFailsAndLeavesNothingOpen) {
    const std::string whole = WritePackage(kPackage);
    const struct {
        const char* call;
        std::u16string description;
        std::string log;
        std::optional<PackageStep> step = std::nullopt;
    } cases[] = {
        {"none", u"text", kNoLog},
        {"MsiOpenDatabaseW", u"", kNoOpen, PackageStep::Open},
        {"MsiDatabaseOpenViewW", u"", kNoView, PackageStep::Query},
        {"MsiViewExecute", u"", "  [FAIL] Failed to execute query.\n", PackageStep::Execute},
        {"MsiViewFetch", u"", kNoLog},
        {"MsiRecordGetStringW", u"", kNoLog},
        {"MsiCloseHandle", u"text", kNoLog},
    };
    for (const auto& row : cases) {
        const Result result = Read(whole, row.call);
        EXPECT_EQ(result.description, row.description) << row.call;
        EXPECT_EQ(result.log, row.log) << row.call;
        EXPECT_EQ(result.failure ? std::optional(result.failure->step) : std::nullopt, row.step);
    }
    Machine machine = MakeMachine();
    machine.drive.AddFile(kPath, whole);
    AddFault(machine, "MsiRecordGetStringW", u"", 6, 2, 2);
    RunWithLog(machine, [] { EXPECT_EQ(GetDescriptionFromMsp(kPath), u"") << "no stale text"; });
    EXPECT_EQ(FindAllNumbers(machine, "MsiOpenDatabaseW"), std::vector<std::uint64_t>{32});
    EXPECT_EQ(FindAllNumbers(machine, "MsiViewExecute"), std::vector<std::uint64_t>{0});
    EXPECT_EQ(FindAllNumbers(machine, "MsiCloseHandle"), (std::vector<std::uint64_t>{0, 1, 2}));

    // A row behind one that cannot be read is not the first one any more.
    const std::string twoRows =
        WritePackage(MakePackage({{"Description", "first"}, {"Description", "second"}}));
    for (const unsigned failing : {1U, 2U}) {
        Machine other = MakeMachine();
        other.drive.AddFile(kPath, twoRows);
        AddFault(other, "MsiRecordGetStringW", u"", 6, failing, failing);
        RunWithLog(other, [] { EXPECT_EQ(GetDescriptionFromMsp(kPath), u""); });
    }
}

TEST(PackageMetadata, ADamagedPackageIsOneThatCannotBeOpenedOrQueried) {
    const std::string whole = WritePackage(kPackage);
    const std::size_t fat = whole.size() - 512;
    const auto damage = [&](std::size_t place, std::uint32_t number) {
        std::string file = whole;
        OverwriteNumber(file, place, number);
        return file;
    };
    const auto entry = [&](std::size_t number, std::size_t field) {
        return FindDirectoryEntry(whole, number) + field;
    };
    Package other = kPackage;
    other.classByte = 0x84;
    Package otherCodePage = kPackage;
    otherCodePage.codePage = 20866;  // one that Windows has
    const std::string undecoded = WritePackage(otherCodePage);
    std::string undecodedAndOff = undecoded;
    OverwriteNumber(undecodedAndOff, whole.find(std::string("\4\0\1\0", 4)), 0x00010003);
    Package without = kPackage;
    without.hasTable = false;
    // The first sector of the texts is moved to the end and cut, so that all behind it would shift.
    std::string cutStream =
        WritePackage(MakePackage({{"Description", "text"}, {"Filler", std::string(5'000, 'f')}}));
    const std::size_t start = FindDirectoryEntry(cutStream, 2) + 116;
    const std::uint32_t first = platform::simulated::ReadU32(cutStream, start);
    const auto moved = static_cast<std::uint32_t>(cutStream.size() / 512 - 1);
    OverwriteNumber(cutStream, cutStream.size() - 512 + std::size_t{4} * moved, first + 1);
    OverwriteNumber(cutStream, start, moved);
    cutStream += cutStream.substr((std::size_t{first} + 1) * 512, 512 - 14);
    const struct {
        const char* name;
        std::string bytes;
        std::string log;
        std::size_t undecoded = 0;
    } cases[] = {
        {"CutStream", cutStream, kNoOpen},
        {"LengthOff", damage(whole.find(std::string("\4\0\1\0", 4)), 0x00010003), kNoOpen},
        {"ReferenceOutside", damage(whole.find(std::string("\7\x80\1\0", 4)) + 4, 0x1000), kNoView},
        {"NotAPatch", WritePackage(other), kNoOpen},
        {"UnknownCodePage", undecoded, kNoOpen, 1},
        {"UnknownCodePageAndLengthOff", undecodedAndOff, kNoOpen},
        {"SectorSize", damage(28, 0x000AFFFE), kNoOpen},
        {"FatOutside", damage(76, 0x1000), kNoOpen},
        {"DirectoryChainLoops", damage(fat + 4, 1), kNoOpen},
        {"DifatLoops", damage(68, 0), kNoOpen},
        {"MiniStreamOutside", damage(entry(0, 116), 0x1000), kNoOpen},
        {"MiniStreamTooShort", damage(entry(0, 120), 0x100000), kNoOpen},
        {"DirectoryTreeLoops", damage(entry(3, 72), 1), kNoOpen},
        {"DirectoryTreeOutside", damage(entry(3, 68), 1000), kNoOpen},
        {"PoolSizeLies", damage(entry(1, 120), 0x7FFFFFFF), kNoOpen},
        {"PoolDataTooShort", damage(entry(2, 120), 3), kNoOpen},
        {"NoTable", WritePackage(without), kNoView},
        {"ColumnsOutside", damage(entry(4, 116), 0x1000), kNoView},
        {"ColumnsTooShort", damage(entry(4, 120), 29), kNoView},
        {"TableTooShort", damage(entry(5, 120), 5), kNoView},
        {"TableSizeLies", damage(entry(5, 120), 0xFFF), kNoView},
    };
    for (const auto& row : cases) {
        const Result result = Read(row.bytes);
        EXPECT_EQ(result.description, u"") << row.name;
        EXPECT_EQ(result.log, row.log) << row.name;
        EXPECT_EQ(result.undecoded, row.undecoded) << row.name;
    }
}

TEST(PackageMetadata, NoByteOfAPackageIsTrusted) {
    const std::string whole = WritePackage(kPackage);
    Machine machine = MakeMachine();
    const platform::simulated::MachineScope scope(machine);
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (const char byte : {'\0', '\1', '\x7F', '\xFF'}) {
            std::string file = whole;
            file[place] = byte;
            machine.drive.AddFile(kPath, std::move(file));
            (void)GetDescriptionFromMsp(kPath);
        }
        machine.drive.AddFile(kPath, whole.substr(0, place));
        const std::u16string description = GetDescriptionFromMsp(kPath);
        EXPECT_TRUE(description.empty() || description == u"text") << "cut at " << place;
    }
    ExpectNothingOpen(machine);
}

}  // namespace
}  // namespace saltrove
