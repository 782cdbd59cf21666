#include "contract/world.h"
#include "platform/files.h"
#include "platform/installer_handle.h"
#include "platform/registry_access.h"
#include "platform/wide_text.h"
#include "support/host_files.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

const char16_t* const kProduct = u"{12345678-9ABC-DEF0-1234-56789ABCDEF0}";
const std::u16string kPackedProduct = u"87654321CBA90FED21436587A9CBED0F";
const std::u16string kPatches[] = {u"{00000000-0000-0000-0000-00000000000A}",
                                   u"{00000000-0000-0000-0000-00000000000B}"};
const std::u16string kPackedPatches[] = {u"000000000000000000000000000000A0",
                                         u"000000000000000000000000000000B0"};
const std::u16string kClasses = u"SOFTWARE\\Classes\\Installer\\";
const std::u16string kUserData =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-18\\";

RegistryKey OpenForWriting(const std::u16string& path) {
    return CreateKey(HKEY_LOCAL_MACHINE, path, KEY_WRITE);
}

/// Registers the product with the two patches, the second before the first, in the states 1 and 2.
void RegisterProduct() {
    const std::u16string own = kUserData + u"Products\\" + kPackedProduct;
    SetText(OpenForWriting(own + u"\\InstallProperties"), u"DisplayName", u"Contract");
    const RegistryKey patches =
        OpenForWriting(kClasses + u"Products\\" + kPackedProduct + u"\\Patches");
    const std::u16string list = kPackedPatches[1] + u'\0' + kPackedPatches[0] + u'\0' + u'\0';
    RegSetValueExW(patches.get(), u"Patches", 0, REG_MULTI_SZ,
                   reinterpret_cast<const BYTE*>(list.data()), static_cast<DWORD>(list.size() * 2));
    for (DWORD i = 0; i < 2; ++i) {
        SetText(patches, kPackedPatches[i].c_str(), u":Update;:#Update");
        const RegistryKey state = OpenForWriting(own + u"\\Patches\\" + kPackedPatches[i]);
        SetDword(state, u"State", i + 1);
        SetText(OpenForWriting(kUserData + u"Patches\\" + kPackedPatches[i]), u"LocalPackage",
                u"C:\\x.msp");
    }
}

/// The patch and the product that are delivered, or the error.
std::u16string GetPatchAt(const char16_t* product, DWORD filter, DWORD index) {
    char16_t patch[39] = {};
    char16_t target[39] = {};
    const UINT status = MsiEnumPatchesExW(product, nullptr, MSIINSTALLCONTEXT_MACHINE, filter,
                                          index, patch, target, nullptr, nullptr, nullptr);
    return status == 0 ? std::u16string(patch) + target : FormatDecimal(status);
}

TEST(InstallerContract, PatchesComeInTheirOrderAndByState) {
    RegisterProduct();
    EXPECT_EQ(GetPatchAt(kProduct, MSIPATCHSTATE_ALL, 0), kPatches[1] + kProduct);
    EXPECT_EQ(GetPatchAt(kProduct, MSIPATCHSTATE_ALL, 1), kPatches[0] + kProduct);
    EXPECT_EQ(GetPatchAt(kProduct, MSIPATCHSTATE_ALL, 2), u"259");
    EXPECT_EQ(GetPatchAt(kProduct, MSIPATCHSTATE_APPLIED, 0), kPatches[0] + kProduct);
    EXPECT_EQ(GetPatchAt(kProduct, MSIPATCHSTATE_APPLIED, 1), u"259");
    EXPECT_EQ(GetPatchAt(kPatches[0].c_str(), MSIPATCHSTATE_ALL, 0), u"259") << "no such product";
}

/// The property, or the error, and behind it the size that the call gave.
std::u16string ReadProperty(const std::u16string& patch, const char16_t* property, DWORD size) {
    char16_t value[16] = {};
    const UINT status = MsiGetPatchInfoExW(patch.c_str(), kProduct, nullptr,
                                           MSIINSTALLCONTEXT_MACHINE, property, value, &size);
    return (status == 0 ? value : FormatDecimal(status)) + u" " + FormatDecimal(size);
}

TEST(InstallerContract, APropertyIsReadWithItsTerminatorOrNotAtAll) {
    RegisterProduct();
    EXPECT_EQ(ReadProperty(kPatches[1], u"LocalPackage", 9), u"C:\\x.msp 8");
    EXPECT_EQ(ReadProperty(kPatches[1], u"LocalPackage", 8), u"234 8");
    EXPECT_EQ(ReadProperty(kPatches[1], u"State", 10), u"2 1");
    EXPECT_EQ(ReadProperty(kProduct, u"State", 10), u"1647 10") << "no such patch";
}

const char16_t* const kReadOnlyPatchFile = reinterpret_cast<const char16_t*>(32);

/// A patch package with three rows of metadata, of which the second is its description.
const std::string kPackage =
    test::ReadFile(SALTROVE_IMAGES "/orphans-of-every-kind/C/Windows/Installer/first.msp");

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
    view_.reset();
    database_.reset();
    EXPECT_NE(DeleteFileW(path_.c_str()), 0);
}

}  // namespace
}  // namespace platform
