#include "platform/registry_access.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

const std::u16string kPath = u"SOFTWARE\\Saltrove Contract";

TEST(RegistryContract, AKeyIsOpenedByItsPathInAnyLetterCase) {
    ASSERT_TRUE(CreateKey(HKEY_LOCAL_MACHINE, kPath + u"\\A\\B", KEY_WRITE));
    EXPECT_FALSE(CreateKey(HKEY_LOCAL_MACHINE, u"\\Cleanup", KEY_WRITE));
    const std::pair<std::u16string, LSTATUS> cases[] = {
        {kPath, 0},
        {u"software\\SALTROVE contract\\a\\b", 0},
        {kPath + u"\\None", 2},
        {kPath + u"\\A\\\\", 0},
        {kPath + u"\\None\\B", 2},
        {u"\\Cleanup", 161},
    };
    for (const auto& [path, status] : cases) {
        auto opened = reinterpret_cast<HKEY>(std::intptr_t{77});
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &opened), status);
        const RegistryKey key(opened);
        EXPECT_EQ(key != nullptr, status == 0) << "a failed call sets it to null";
    }
}

TEST(RegistryContract, AValueIsGivenAsItsBytesAreStored) {
    using Bytes = std::basic_string<BYTE>;
    const RegistryKey writing = CreateKey(HKEY_LOCAL_MACHINE, kPath + u"\\Values", KEY_WRITE);
    RegistryKey key;
    ASSERT_EQ(OpenKeyForReading(HKEY_LOCAL_MACHINE, kPath + u"\\Values", key), 0);
    const struct {
        DWORD type;
        Bytes bytes;
        DWORD capacity;
        LSTATUS status;
    } cases[] = {
        {REG_SZ, {'a', 0, 'b', 0, 0, 0}, 6, 0},
        {REG_SZ, {'a', 0, 'b', 0, 0, 0}, 5, 234},
        {REG_SZ, {0, 0}, 6, 0},
        {REG_SZ, {'a', 0, 'b', 0}, 4, 0},
        {REG_SZ, {'a', 0, 'b', 0}, 6, 0},
        {REG_SZ, {'a', 0, 'b', 0}, 3, 234},
        {REG_SZ, {}, 4, 0},
        {REG_DWORD, {1, 2, 3, 4}, 4, 0},
        {REG_BINARY, {1, 2}, 4, 0},
        {REG_BINARY, {1, 2, 3, 4, 5}, 4, 234},
    };
    for (const auto& row : cases) {
        auto size = static_cast<DWORD>(row.bytes.size());
        // A terminator that lies right behind the bytes would be taken as one that was forgotten.
        const Bytes given = row.bytes + Bytes(2, 0xCC);
        ASSERT_EQ(RegSetValueExW(writing.get(), u"Name", 0, row.type, given.data(), size), 0);
        Bytes data(16, 0xCC);
        DWORD type = 0;
        size = row.capacity;
        EXPECT_EQ(RegQueryValueExW(key.get(), u"NAME", nullptr, &type, data.data(), &size),
                  row.status);
        EXPECT_EQ(type, row.type);
        EXPECT_EQ(size, row.bytes.size());
        EXPECT_TRUE(row.status != 0 || data.starts_with(row.bytes));
        const bool isEnded =
            row.type != REG_SZ || row.bytes.empty() || row.bytes.ends_with(Bytes(2, 0));
        EXPECT_TRUE(isEnded || row.capacity < size + 2 || data.substr(size, 2) == Bytes(2, 0))
            << "a text gets its terminator where there is room";
    }
    const char16_t text[] = u"ab\0";
    for (const DWORD given : {4U, 6U}) {
        ASSERT_EQ(RegSetValueExW(writing.get(), u"Text", 0, REG_SZ,
                                 reinterpret_cast<const BYTE*>(text), given),
                  0);
        DWORD stored = 0;
        EXPECT_EQ(RegQueryValueExW(key.get(), u"Text", nullptr, nullptr, nullptr, &stored), 0);
        EXPECT_EQ(stored, 6U) << "with the terminator right behind it";
    }
    DWORD size = 4;
    EXPECT_EQ(RegQueryValueExW(key.get(), u"None", nullptr, nullptr, nullptr, &size), 2);
    EXPECT_EQ(RegQueryValueExW(writing.get(), u"Name", nullptr, nullptr, nullptr, &size), 5);
    const HKEY closed = key.release();
    EXPECT_EQ(RegCloseKey(closed), 0);
    EXPECT_EQ(RegQueryValueExW(closed, u"Name", nullptr, nullptr, nullptr, &size), 6);
}

TEST(RegistryContract, KeysBelowOneAreEnumeratedInNameOrder) {
    const std::u16string path = kPath + u"\\Enumerated";
    for (const char16_t* name : {u"b", u"A\\inner", u"d", u"C"})
        ASSERT_TRUE(CreateKey(HKEY_LOCAL_MACHINE, path + u"\\" + name, KEY_WRITE));
    RegistryKey key;
    ASSERT_EQ(OpenKeyForReading(HKEY_LOCAL_MACHINE, path, key), 0);
    const auto enumerate = [&](DWORD index, DWORD capacity, std::u16string& name) {
        name.assign(8, u'?');
        const LSTATUS status = RegEnumKeyExW(key.get(), index, name.data(), &capacity, nullptr,
                                             nullptr, nullptr, nullptr);
        EXPECT_TRUE(status != 0 || name[capacity] == u'\0');
        name.resize(capacity);
        return status;
    };
    std::u16string names;
    std::u16string name;
    for (DWORD index = 0; enumerate(index, 2, name) == 0; ++index)
        names += name;
    EXPECT_EQ(names, u"AbCd");
    EXPECT_EQ(enumerate(4, 8, name), static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS));
    EXPECT_EQ(enumerate(0, 1, name), static_cast<LSTATUS>(ERROR_MORE_DATA));
}

}  // namespace
}  // namespace platform
