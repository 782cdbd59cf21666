#include "contract/world.h"
#include "platform/c_runtime.h"
#include "platform/files.h"
#include "platform/process_closers.h"
#include "platform/registry_access.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace platform {
namespace {

using namespace std::string_literals;
using contract::kFolder;
using contract::PutFile;

TEST(FileContract, AttributesTellWhatAPathIs) {
    PutFile(kFolder + u"attributes\\file.msp", "x");
    const std::pair<std::u16string, bool> present[] = {
        {u"attributes\\FILE.MSP", false}, {u"./attributes/file.msp", false}, {u"Attributes", true}};
    for (const auto& [path, isDirectory] : present) {
        const DWORD attributes = GetFileAttributesW((kFolder + path).c_str());
        EXPECT_NE(attributes, INVALID_FILE_ATTRIBUTES);
        EXPECT_EQ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0, isDirectory);
    }
    for (const std::u16string& path : {kFolder + u"none.msp", kFolder + u"none\\x", u""s})
        EXPECT_EQ(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST(FileContract, ASearchDeliversInNameOrderWhateverTheLetterCase) {
    for (const char16_t* name :
         {u"b.msp", u"A.MSP", u"_.msp", u"a-1.msp", u"c.msp\\inside.msp", u"\u00c9.msp", u"a.msi",
          u"a.msp.bak", u"d.mspold", u"e.msp_old", u"f.m sp", u"g.ms_p"})
        PutFile(kFolder + u"search\\" + name, "x");
    WIN32_FIND_DATAW entry{};
    const HANDLE search = FindFirstFileW((kFolder + u"Search\\*.msp").c_str(), &entry);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    std::u16string names;
    do {
        const bool isDirectory = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        names.append(entry.cFileName).append(isDirectory ? u"/ " : u" ");
        EXPECT_EQ(DeleteFileW((kFolder + u"search\\" + entry.cFileName).c_str()) == 0, isDirectory);
    } while (FindNextFileW(search, &entry) != 0);
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_NE(FindClose(search), 0);
    const std::u16string blankLeftOut = contract::kIsWine ? u"" : u"f.m sp ";
    EXPECT_EQ(names, u"a-1.msp A.MSP b.msp c.msp/ d.mspold e.msp_old " + blankLeftOut +
                         u"_.msp \u00c9.msp ");
    EXPECT_EQ(FindFirstFileW((kFolder + u"search\\*.msx").c_str(), &entry), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(FindFirstFileW((kFolder + u"none\\*.msp").c_str(), &entry), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST(FileContract, AFileIsReadFromAPlaceInIt) {
    PutFile(kFolder + u"read\\file.txt", "0123456789");
    const auto open = [](const std::u16string& name) {
        return CreateFileW((kFolder + u"read" + name).c_str(), GENERIC_READ,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    };
    const HANDLE opened = open(u"\\FILE.TXT");
    ASSERT_NE(opened, INVALID_HANDLE_VALUE);
    const Handle file(opened);
    ASSERT_NE(SetFilePointerEx(file.get(), {4}, nullptr, FILE_BEGIN), 0);
    for (const std::string_view piece : {"4567", "89", ""}) {
        std::string buffer(4, '?');
        DWORD read = 99;
        EXPECT_NE(ReadFile(file.get(), buffer.data(), 4, &read, nullptr), 0);
        EXPECT_EQ(buffer.substr(0, read), piece);
    }
    const std::pair<std::u16string, DWORD> missing[] = {
        {u"\\none", ERROR_FILE_NOT_FOUND}, {u"\\none\\x", ERROR_PATH_NOT_FOUND}, {u"", 5}};
    for (const auto& [name, error] : missing) {
        EXPECT_EQ(open(name), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), error);
    }
}

TEST(FileContract, ADeletionTellsWhyItFailed) {
    const std::u16string folder = kFolder + u"delete\\";
    PutFile(folder + u"folder.msp\\inside.msp", "x");
    PutFile(folder + u"read-only.msp", "x");
    contract::SetReadOnly(folder + u"read-only.msp", true);
    FILE* const held = _wfsopen((folder + u"held.msp").c_str(), u"at", _SH_DENYNO);
    const std::pair<const char16_t*, DWORD> cases[] = {{u"none.msp", 2},
                                                       {u"none\\none.msp", 3},
                                                       {u"folder.msp", 5},
                                                       {u"read-only.msp", 5},
                                                       {u"held.msp", 32}};
    for (const auto& [name, error] : cases) {
        EXPECT_EQ(DeleteFileW((folder + name).c_str()), 0);
        EXPECT_EQ(GetLastError(), error);
    }
    EXPECT_EQ(DeleteFileW(u""), 0);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    ASSERT_EQ(fclose(held), 0);
    contract::SetReadOnly(folder + u"read-only.msp", false);
    for (const char16_t* name : {u"HELD.MSP", u"read-only.msp"})
        EXPECT_NE(DeleteFileW((folder + name).c_str()), 0);
}

TEST(FileContract, ADeletionAtTheNextRestartIsAddedToThoseThereAre) {
    const char16_t* const kSessionManager = u"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const RegistryKey key =
        CreateKey(HKEY_LOCAL_MACHINE, kSessionManager, KEY_WRITE | KEY_QUERY_VALUE);
    const std::u16string there = u"\\??\\C:\\old\0\0\\??\\C:\\from\0!\\??\\C:\\to\0\0"s;
    // It is noted by its full path, whether or not there is such a file.
    const std::u16string path = kFolder + u"none\\..\\./Restart.msp";
    const std::u16string added = u"\\??\\" + kFolder + u"Restart.msp" + u'\0' + u'\0';
    for (const std::u16string& before : {u"\0"s, there}) {
        RegSetValueExW(key.get(), u"PendingFileRenameOperations", 0, REG_MULTI_SZ,
                       reinterpret_cast<const BYTE*>(before.data()),
                       static_cast<DWORD>(before.size() * 2));
        ASSERT_NE(MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT), 0);
        std::u16string after(200, u'?');
        DWORD size = 400;
        ASSERT_EQ(RegQueryValueExW(key.get(), u"PendingFileRenameOperations", nullptr, nullptr,
                                   reinterpret_cast<BYTE*>(after.data()), &size),
                  0);
        EXPECT_EQ(after.substr(0, size / 2), before.substr(0, before.size() - 1) + added + u'\0');
    }
}

std::u16string GetFullPath(const std::u16string& path) {
    char16_t text[MAX_PATH] = {};
    const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH, text, nullptr);
    EXPECT_EQ(length, std::u16string(text).size());
    return text;
}

TEST(FileContract, AFullPathComesFromTheTextAlone) {
    const std::pair<std::u16string, std::u16string> cases[] = {
        {u"D:\\Tools\\shell.exe", u"D:\\Tools\\shell.exe"},
        {u"c:/test/", u"c:\\test\\"},
        {u"c:/test  ....   ..   ", u"c:\\test"},
        {u"c:/test/.. ", u"c:\\test\\"},
        {u"c:/test./file", u"c:\\test\\file"},
        {u"c:/test../file", u"c:\\test.\\file"},
        {u"c:/test.. /file", u"c:\\test.. \\file"},
        {u"c:///test\\a\\.\\..\\file//", u"c:\\test\\file\\"},
        {u"C:\\test\\..\\..", u"C:\\"},
        {u"//foo/", u"\\\\foo\\"},
        {u"//server/share/a/../../b", u"\\\\server\\share\\b"},
        {u"//.", u"\\\\.\\"},
        {u"//./foo/.", u"\\\\.\\foo"},
        {u"//?/foo/..", u"\\\\?\\"},
        {u"?:", u"?:\\"},
    };
    for (const auto& [path, full] : cases)
        EXPECT_EQ(GetFullPath(path), full);
    const std::u16string current = GetFullPath(u".");
    // Windows 11 knows a device by its whole name alone.
    const std::u16string devices[][3] = {{u"C:\\none\\nul", u"\\\\.\\nul", u"C:\\none\\nul"},
                                         {u"Com1.txt", u"\\\\.\\Com1", current + u"\\Com1.txt"},
                                         {u"NUL :x", u"\\\\.\\NUL", current + u"\\NUL :x"}};
    for (const auto& [path, device, file] : devices) {
        const std::u16string full = GetFullPath(path);
        EXPECT_TRUE(full == device || (full == file && !contract::kIsWine));
    }
    const std::pair<std::u16string, const char16_t*> relative[] = {
        {u"shell.exe", u"\\shell.exe"},
        {u"./a/../b", u"\\b"},
        {u"...", u"\\"},
        {current.substr(0, 2) + u"a", u"\\a"}};
    for (const auto& [path, rest] : relative)
        EXPECT_EQ(GetFullPath(path), current + rest);
    EXPECT_EQ(GetFullPath(u"\\??\\foo"), current.substr(0, 2) + u"\\??\\foo");
}

TEST(FileContract, APathIsMeasuredWithItsTerminator) {
    EXPECT_EQ(GetFullPathNameW(u"D:\\Tools\\shell.exe", 0, nullptr, nullptr), 19U);
    EXPECT_EQ(GetFullPathNameW(u"", 0, nullptr, nullptr), 0U);
    char16_t windows[MAX_PATH] = {};
    const UINT length = GetWindowsDirectoryW(windows, MAX_PATH);
    EXPECT_EQ(length, std::u16string(windows).size());
    EXPECT_EQ(GetWindowsDirectoryW(windows, 3), length + 1);
}

TEST(FileContract, ATextFileGrowsByLinesAndIsOpenToOthers) {
    const std::u16string path = kFolder + u"grows.txt";
    EXPECT_EQ(_wfsopen(u"", u"at", _SH_DENYNO), nullptr);
    EXPECT_EQ(_wfsopen((kFolder + u"none\\x.txt").c_str(), u"at", _SH_DENYNO), nullptr);
    PutFile(path, "old\r\n");
    FILE* const first = _wfsopen(path.c_str(), u"at", _SH_DENYNO);
    FILE* const second = _wfsopen(path.c_str(), u"at", _SH_DENYNO);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(fwrite("a\n", 1, 2, first), 2U);
    EXPECT_EQ(fflush(first), 0);
    EXPECT_EQ(contract::ReadFile(path), "old\r\na\r\n");
    EXPECT_EQ(fwrite("b\xE9", 1, 2, second), 2U);
    EXPECT_EQ(fclose(second), 0);
    EXPECT_EQ(fwrite("c\n\n", 1, 3, first), 3U);
    EXPECT_EQ(fclose(first), 0);
    EXPECT_EQ(contract::ReadFile(path), "old\r\na\r\nb\xE9"
                                        "c\r\n\r\n");
}

TEST(LocaleContract, LettersOfTheNativeLocaleGetSmall) {
    const std::u16string from =
        u"AZ[@09az\u00c4\u00d7\u00df\u0178\u0391\u0416\u1f88\u0130\u212a\uff21";
    const std::u16string to =
        u"az[@09az\u00e4\u00d7\u00df\u00ff\u03b1\u0436\u1f80\u0130\u212a\uff41";
    const _locale_t native = _create_locale(CTYPE_CATEGORY, "");
    ASSERT_NE(native, nullptr);
    for (std::size_t i = 0; i < from.size(); ++i)
        EXPECT_EQ(_towlower_l(from[i], native), to[i]) << std::hex << +from[i];
    _free_locale(native);
}

}  // namespace
}  // namespace platform
