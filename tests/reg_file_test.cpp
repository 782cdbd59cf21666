#include "image/reg_file.h"

#include "platform/simulated/texts/unicode.h"
#include "support/image_errors.h"

#include <gtest/gtest.h>

namespace image {
namespace {

using platform::simulated::EncodeUtf8;
using platform::simulated::MakeTextData;
using platform::simulated::Registry;
using platform::simulated::ValueData;

const std::string kHeader = "Windows Registry Editor Version 5.00\n";
const std::u16string kKey = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\K";

Registry Read(const std::string& bytes) {
    Registry registry;
    ReadRegFile("a.reg", bytes, u"S-1-5-18", registry);
    return registry;
}

/// A text in UTF-16LE behind its byte-order mark.
std::string EncodeUtf16(std::u16string_view text) {
    const ValueData data = MakeTextData(u"\uFEFF" + std::u16string(text));
    return {data.begin(), data.end() - 2};
}

TEST(RegFile, ReadsEveryFormOfValue) {
    const std::string text =
        "; a comment\n\n[HKEY_LOCAL_MACHINE\\Software\\K]\n"
        "\"a \\\"b\\\" \\\\c\"=\"x\\\\y\\\"z\"\n"
        "@=\"default\"\n  \"d\" = dword:1F \n\"b\"=hex:\n\"e\"=hex:01,a,\\\n  Fe\n"
        "\"m\"=hex(7):\\\n\t41,00,00,00,\\\n  00,00\n\"q\"=hex(b):01\n\"t\"=hex(80000001):02\n"
        "\"lines\"=\"one\r\ntwo\"\n\"odd\"=hex(1):41\n"
        "\"gone\"=\"x\"\n\"GONE\"=-\n\"A\"=dword:0000000a\n\"a\"=dword:b\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Gone\\Below]\n[-hkey_local_machine\\SOFTWARE\\gone]\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\[x]]";
    for (const bool isCrLf : {false, true}) {
        std::string bytes;
        for (const char character : kHeader + text) {
            if (isCrLf && character == '\n' && !bytes.ends_with('\r'))
                bytes += '\r';
            bytes += character;
        }
        const Registry registry = Read("\xEF\xBB\xBF" + bytes);
        const auto data = [&](std::u16string_view name, platform::DWORD type) {
            const auto* value = registry.FindValue(kKey, name);
            EXPECT_NE(value, nullptr) << EncodeUtf8(name);
            EXPECT_EQ(value->type, type) << EncodeUtf8(name);
            return value->data;
        };
        EXPECT_EQ(data(u"a \"b\" \\c", 1), MakeTextData(u"x\\y\"z"));
        EXPECT_EQ(data(u"", 1), MakeTextData(u"default"));
        EXPECT_EQ(data(u"d", 4), (ValueData{0x1F, 0, 0, 0}));
        EXPECT_EQ(data(u"b", 3), ValueData());
        EXPECT_EQ(data(u"e", 3), (ValueData{0x01, 0x0A, 0xFE}));
        EXPECT_EQ(data(u"m", 7), (ValueData{0x41, 0, 0, 0, 0, 0}));
        EXPECT_EQ(data(u"q", 11), ValueData{1});
        EXPECT_EQ(data(u"t", 0x80000001), ValueData{2});
        EXPECT_EQ(data(u"lines", 1), MakeTextData(u"one\r\ntwo"));
        EXPECT_EQ(data(u"odd", 1), ValueData{0x41});
        EXPECT_EQ(data(u"a", 4), (ValueData{0x0B, 0, 0, 0}));
        EXPECT_EQ(registry.GetKeys().Find(kKey)->find(u"a")->first, u"A")
            << "the first spelling stays";
        EXPECT_EQ(registry.FindValue(kKey, u"gone"), nullptr);
        EXPECT_FALSE(registry.HasKey(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Gone"));
        EXPECT_TRUE(registry.HasKey(u"HKEY_LOCAL_MACHINE\\software\\[X]"));
    }
}

TEST(RegFile, ReadsUtf16AndKeepsALoneSurrogate) {
    const Registry registry =
        Read(EncodeUtf16(u"Windows Registry Editor Version 5.00\r\n"
                         u"[HKEY_CURRENT_USER\\\u00C9]\r\n\"\xD800\"=\"\xDC00\"\r\n"
                         u"[hkey_classes_root\\.msp]\r\n"));
    const auto* value = registry.FindValue(u"HKEY_USERS\\S-1-5-18\\\u00E9", u"\xD800");
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->data, MakeTextData(u"\xDC00"));
    EXPECT_TRUE(registry.HasKey(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\.msp"));
}

TEST(RegFile, NamesPlaceAndReasonOfAFault) {
    const std::string key = kHeader + "[HKEY_LOCAL_MACHINE\\K]\n";
    const struct {
        std::string bytes;
        const char* error;
    } cases[] = {
        {"", "a.reg:1: the first line is not \"Windows Registry Editor Version 5.00\""},
        {kHeader + "[HKEY_LOCAL_MACHINE\\K\n", "a.reg:2: the key has no closing bracket"},
        {kHeader + "[HKLM\\K]\n", "a.reg:2: \"HKLM\\K\" is not a key"},
        {kHeader + "[HKEY_LOCAL_MACHINE\\\\K]\n", "a.reg:2: \"HKEY_LOCAL_MACHINE\\\\K\" is not a"},
        {kHeader + "\n\"a\"=\"b\"\n", "a.reg:3: a value without a key above it"},
        {kHeader + "[-HKEY_LOCAL_MACHINE\\K]\n@=-\n", "a.reg:3: a value without a key above it"},
        {key + "a=b\n", "a.reg:3: neither a key, a value nor a comment"},
        {key + "\"a\"\n", "a.reg:3: no \"=\" behind the value's name"},
        {key + "\"a\"=b\n", "a.reg:3: the data is neither a text in quotes, dword:"},
        {key + "\"a\"=\"b\n\"c\"=\"d\"\n", "a.reg:4: something stands behind the value's data"},
        {key + "\n\"a\"=\"b\nc", "a.reg:4: the text has no closing quote"},
        {key + "\"a\"=\"\\n\"\n", "a.reg:3: a bad escape"},
        {key + "\"a\"=dword:\n", "a.reg:3: a broken dword: no hexadecimal digit"},
        {key + "\"a\"=dword:123456789\n", "a.reg:3: a broken dword: more than 8 digits"},
        {key + "\"a\"=hex(:01\n", "a.reg:3: a broken type of a hex value: no hexadecimal digit"},
        {key + "\"a\"=hex(7:01\n", "a.reg:3: a broken hex value: no \")\" behind its type"},
        {key + "\"a\"=hex01\n", "a.reg:3: a broken hex value: no \":\" in front of its bytes"},
        {key + "\"a\"=hex:01,\n", "a.reg:3: a broken hex value: no hexadecimal digit"},
        {key + "\"a\"=hex:012\n", "a.reg:3: a broken hex value: more than 2 digits"},
        {key + "\"a\"=hex:01,\\\n  02,\\", "a.reg:4: a broken hex value: no line follows the \\"},
        {key + "\"a\"=\"\xC3(\"\n", "a.reg:3: invalid UTF-8"},
        {key + "\"a\"=\"\xED\xA0\x80\"\n", "a.reg:3: invalid UTF-8"},
        {key + std::string(1, '\0'), "a.reg:3: a NUL character"},
        {EncodeUtf16(u"a\nb") + "c", "a.reg:2: an odd number of bytes in a UTF-16 file"},
        {"\xFE\xFF", "a.reg:1: big-endian UTF-16"},
    };
    for (const auto& row : cases)
        test::ExpectImageError(row.error, [&] { Read(row.bytes); });
}

TEST(RegFile, WhatIsWrittenReadsAgainTheSame) {
    Registry registry;
    registry.SetText(kKey + u"\\b", u"back\\slash \"quoted\"", u"\u4E2D \U0001F600 \xD800");
    registry.SetText(kKey + u"\\b", u"", u"");
    registry.SetText(kKey + u"\\B c", u"lines", u"one\r\ntwo\n");
    registry.SetDword(kKey + u"\\A", u"dword", 0x89ABCDEF);
    registry.SetValue(kKey, u"odd text", 1, {0x41, 0, 0, 0, 0x42});
    registry.SetValue(kKey, u"two ends", 1, {0x41, 0, 0, 0, 0, 0});
    registry.SetValue(kKey, u"no end", 1, {0x41, 0});
    registry.SetValue(kKey, u"nothing", 1, {});
    registry.SetValue(kKey, u"short dword", 4, {1, 2, 3});
    registry.SetValue(kKey, u"a=long:one", 7, ValueData(100, 0xA5));
    registry.SetValue(kKey, u"high type", 0xFFFF0010, {1});
    registry.CreateKey(u"HKEY_USERS\\S-1-5-18\\empty");
    const std::string bytes = FormatRegFile(registry);
    const Registry again = Read(bytes);
    EXPECT_EQ(FormatRegFile(again), bytes);
    registry.GetKeys().Walk([&](const std::u16string& path, const auto& values) {
        for (const auto& [name, value] : values) {
            ASSERT_NE(again.FindValue(path, name), nullptr);
            EXPECT_EQ(again.FindValue(path, name)->type, value.type);
            EXPECT_EQ(again.FindValue(path, name)->data, value.data);
        }
    });
    std::u16string text(bytes.size() / 2, u'\0');
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(text.data()));
    EXPECT_TRUE(text.starts_with(u"\uFEFFWindows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL"));
    EXPECT_NE(text.find(u"\"short dword\"=hex(4):01,02,03\r\n"), std::u16string::npos);
    EXPECT_NE(text.find(u"\"nothing\"=hex(1):\r\n"), std::u16string::npos);
    for (std::size_t at = 0; at < text.size(); at = text.find(u'\n', at) + 1)
        EXPECT_LE(text.find(u'\r', at) - at, 80U);
}

}  // namespace
}  // namespace image
