#include "contract/world.h"
#include "platform/files.h"
#include "platform/installer_handle.h"
#include "support/host_files.h"
#include "support/package_writer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace platform {
namespace {

const char16_t* const kReadOnlyPatchFile = reinterpret_cast<const char16_t*>(32);

/// Where the machine images are: where the environment says so, or in the sources.
std::string GetImages() {
    const char* folder = std::getenv("SALTROVE_IMAGES");
    return folder == nullptr ? SALTROVE_IMAGES : folder;
}

/// A patch package with three rows of metadata, of which the second is its description.
const std::string kPackage =
    test::ReadFile(GetImages() + "/orphans-of-every-kind/C/Windows/Installer/first.msp");

class PackageContract : public testing::Test {
  protected:
    /// Opens a file with these bytes as a patch package, read-only.
    UINT Open(std::string_view bytes) {
        contract::PutFile(path_, bytes);
        MSIHANDLE handle = 0;
        const UINT status = MsiOpenDatabaseW(path_.c_str(), kReadOnlyPatchFile, &handle);
        database_.reset(InstallerHandleNumber(handle));
        return status;
    }
    UINT Query(const char16_t* query) {
        MSIHANDLE handle = 0;
        const UINT status = MsiDatabaseOpenViewW(database_.get().number, query, &handle);
        view_.reset(InstallerHandleNumber(handle));
        return status;
    }
    UINT Fetch() {
        MSIHANDLE handle = 0;
        const UINT status = MsiViewFetch(view_.get().number, &handle);
        record_.reset(InstallerHandleNumber(handle));
        return status;
    }

    const std::u16string path_ = contract::kFolder + u"Package.msp";
    InstallerHandle database_;
    InstallerHandle view_;
    InstallerHandle record_;
};

TEST_F(PackageContract, WhatIsNoPackageCannotBeOpened) {
    for (const std::string& bytes : {std::string(), std::string("No package, but a longer text."),
                                     std::string(4096, '\0'), kPackage.substr(0, 600)})
        EXPECT_NE(Open(bytes), 0U);
    ASSERT_NE(DeleteFileW(path_.c_str()), 0);
    for (const std::u16string& path : {path_, contract::kFolder, std::u16string()}) {
        MSIHANDLE handle = 0;
        EXPECT_NE(MsiOpenDatabaseW(path.c_str(), kReadOnlyPatchFile, &handle), 0U);
    }
}

TEST_F(PackageContract, AnInstallationDatabaseIsNoPatch) {
    std::string installation = kPackage;
    installation.at(installation.find("\x86\x10\x0C")) = '\x84';
    EXPECT_EQ(Open(installation), ERROR_OPEN_FAILED);
}

TEST_F(PackageContract, ALongTextAndAFreePlaceInThePoolShiftNoOther) {
    const test::Package package =
        test::MakePackage({{"Filler", std::string(70'000, 'f')}, {"Description", "text"}});
    ASSERT_EQ(Open(test::WritePackage(package)), 0U);
    ASSERT_EQ(Query(u"SELECT `Property`, `Value` FROM `MsiPatchMetadata`"), 0U);
    ASSERT_EQ(MsiViewExecute(view_.get().number, 0), 0U);
    ASSERT_EQ(Fetch(), 0U);
    ASSERT_EQ(Fetch(), 0U);
    char16_t value[16] = {};
    DWORD size = 16;
    EXPECT_EQ(MsiRecordGetStringW(record_.get().number, 2, value, &size), 0U);
    EXPECT_EQ(value, std::u16string(u"text"));
}

TEST_F(PackageContract, RowsAreFetchedAndFieldsAreCutToTheirBuffer) {
    ASSERT_EQ(Open(kPackage), 0U);
    EXPECT_EQ(Query(u"SELECT `Property` FROM `Another`"), ERROR_BAD_QUERY_SYNTAX);
    ASSERT_EQ(Query(u"SELECT `Property`, `Value` FROM `MsiPatchMetadata`"), 0U);
    ASSERT_EQ(MsiViewExecute(view_.get().number, 0), 0U);
    const struct {
        UINT field;
        DWORD size;
        UINT status;
        std::u16string value;
        DWORD length;
    } cases[] = {
        {1, 128, 0, u"Description", 11}, {1, 12, 0, u"Description", 11},
        {1, 11, 234, u"Descriptio", 11}, {2, 256, 0, u"Kelvane Ostrel update 22.1", 26},
        {2, 5, 234, u"Kelv", 26},        {3, 256, 0, u"", 0},
    };
    ASSERT_EQ(Fetch(), 0U);
    ASSERT_EQ(Fetch(), 0U);
    for (const auto& row : cases) {
        std::u16string value(300, u'\0');
        DWORD size = row.size;
        EXPECT_EQ(MsiRecordGetStringW(record_.get().number, row.field, value.data(), &size),
                  row.status);
        EXPECT_TRUE(value.starts_with(row.value));
        EXPECT_EQ(row.status == 0 ? value[row.value.size()] : u'\0', u'\0');
        EXPECT_EQ(size, row.length);
    }
    ASSERT_EQ(Fetch(), 0U);
    EXPECT_EQ(Fetch(), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(Fetch(), 0U) << "the rows begin again";
    record_.reset();
    view_.reset();
    database_.reset();
    EXPECT_NE(DeleteFileW(path_.c_str()), 0);
}

}  // namespace
}  // namespace platform
