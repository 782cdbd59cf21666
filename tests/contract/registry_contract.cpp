#include "platform/registry_access.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

const std::u16string kPath = u"SOFTWARE\\Saltrove Contract";

using Bytes = std::basic_string<BYTE>;

Bytes BytesOf(std::u16string_view text) {
    return {reinterpret_cast<const BYTE*>(text.data()), text.size() * sizeof(char16_t)};
}

LSTATUS Set(const RegistryKey& key, const char16_t* name, DWORD type, Bytes bytes) {
    const auto size = static_cast<DWORD>(bytes.size());
    // A terminator that lies right behind the bytes would be taken as one that was forgotten.
    bytes.append(2, 0xCC);
    return RegSetValueExW(key.get(), name, 0, type, bytes.data(), size);
}

TEST(RegistryContract, AKeyIsOpenedByItsPathInAnyLetterCase) {
    ASSERT_TRUE(CreateKey(HKEY_LOCAL_MACHINE, kPath + u"\\A\\B", KEY_WRITE));
    const struct {
        std::u16string path;
        LSTATUS status;
    } cases[] = {
        {kPath, 0},
        {u"software\\SALTROVE contract\\a\\b", 0},
        {kPath + u"\\A\\", 0},
        {kPath + u"\\None", 2},
        {kPath + u"\\None\\B", 2},
        {u"\\" + kPath, 161},
        {u"\\Cleanup", 161},
    };
    for (const auto& row : cases) {
        RegistryKey key;
        EXPECT_EQ(OpenKeyForReading(HKEY_LOCAL_MACHINE, row.path, key), row.status);
        EXPECT_EQ(key != nullptr, row.status == 0);
    }
    EXPECT_FALSE(CreateKey(HKEY_LOCAL_MACHINE, u"\\Cleanup", KEY_WRITE));
}

TEST(RegistryContract, AKeyDoesWhatItsAccessAllows) {
    const RegistryKey writing = CreateKey(HKEY_CURRENT_USER, kPath, KEY_WRITE);
    RegistryKey reading;
    ASSERT_EQ(OpenKeyForReading(HKEY_CURRENT_USER, kPath, reading), 0);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(writing.get(), u"x", nullptr, nullptr, nullptr, &size), 5);
    EXPECT_EQ(Set(reading, u"x", REG_SZ, {}), 5);
}

TEST(RegistryContract, AValueIsGivenAsItsBytesAreStored) {
    const RegistryKey writing = CreateKey(HKEY_LOCAL_MACHINE, kPath + u"\\Values", KEY_WRITE);
    RegistryKey key;
    ASSERT_EQ(OpenKeyForReading(HKEY_LOCAL_MACHINE, kPath + u"\\Values", key), 0);
    const struct {
        DWORD type;
        Bytes bytes;
        DWORD capacity;
        LSTATUS status;
    } cases[] = {
        {REG_SZ, BytesOf({u"ab\0", 3}), 6, 0}, {REG_SZ, BytesOf({u"ab\0", 3}), 5, 234},
        {REG_SZ, BytesOf({u"\0", 1}), 6, 0},   {REG_SZ, BytesOf(u"ab"), 4, 0},
        {REG_SZ, BytesOf(u"ab"), 3, 234},      {REG_SZ, {}, 4, 0},
        {REG_DWORD, {1, 2, 3, 4}, 4, 0},       {REG_BINARY, {1, 2}, 4, 0},
        {REG_BINARY, {1, 2, 3, 4, 5}, 4, 234}, {REG_MULTI_SZ, BytesOf({u"a\0", 2}), 8, 0},
    };
    for (const auto& row : cases) {
        ASSERT_EQ(Set(writing, u"Name", row.type, row.bytes), 0);
        Bytes data(16, 0xCC);
        DWORD type = 0;
        DWORD size = row.capacity;
        EXPECT_EQ(RegQueryValueExW(key.get(), u"NAME", nullptr, &type, data.data(), &size),
                  row.status);
        EXPECT_EQ(type, row.type);
        EXPECT_EQ(size, row.bytes.size());
        EXPECT_TRUE(row.status != 0 || data.starts_with(row.bytes));
    }
    DWORD size = 4;
    EXPECT_EQ(RegQueryValueExW(key.get(), u"None", nullptr, nullptr, nullptr, &size), 2);
}

}  // namespace
}  // namespace platform
