#include "platform/texts.h"

#include <gtest/gtest.h>

#include <string_view>

namespace platform {
namespace {

/// Adds what these bytes stand for to a hash (FNV-1a), the number of characters with it.
void AddText(UINT codePage, std::string_view bytes, std::uint32_t& hash) {
    char16_t text[2] = {};
    const int size = static_cast<int>(bytes.size());
    const int count = MultiByteToWideChar(codePage, 0, bytes.data(), size, text, 2);
    for (const unsigned number :
         {static_cast<unsigned>(count), unsigned{text[0]}, unsigned{text[1]}})
        hash = (hash ^ number) * 0x01000193;
}

// The numbers are those of Wine's tables, which are Microsoft's published ones. Where one does not
// fit, print the characters on both systems and compare.
TEST(TextContract, EveryByteAndEveryTwoBytesOfACodePageAreWhatTheyAreOnWindows) {
    const struct {
        UINT codePage;
        std::uint32_t hash;
    } cases[] = {
        {437, 0x53AD8A8A},  {850, 0x12BDA95E},  {852, 0x8562E543},  {866, 0xC8AA7159},
        {874, 0xE1EC94E9},  {932, 0x90F1479F},  {936, 0x2BF08AF8},  {949, 0x1F8AD855},
        {950, 0x7AD335E8},  {1250, 0xDFFCC3AD}, {1251, 0xE198CF55}, {1252, 0x7D2F43C3},
        {1253, 0xCBFAA0EC}, {1254, 0x5EE033FF}, {1255, 0x499FE1EA}, {1256, 0x6E0315F6},
        {1257, 0xC6EC5B17}, {1258, 0x6B94A8A8},
    };
    for (const auto& row : cases) {
        std::uint32_t hash = 0x811C9DC5;
        for (unsigned number = 0; number < 0x10000; ++number) {
            const char bytes[] = {static_cast<char>(number >> 8U), static_cast<char>(number)};
            AddText(row.codePage, {bytes, 2}, hash);
            if (bytes[1] == 0)
                AddText(row.codePage, {bytes, 1}, hash);
        }
        EXPECT_EQ(hash, row.hash) << row.codePage;
    }
}

TEST(TextContract, ATextThatDoesNotFitOrACodePageThatIsNoneFails) {
    char16_t text[2] = {};
    EXPECT_EQ(MultiByteToWideChar(1250, 0, "\xE8yz", 3, text, 2), 0);
    EXPECT_EQ(MultiByteToWideChar(1259, 0, "x", 1, text, 2), 0);
    EXPECT_EQ(MultiByteToWideChar(932, 0, "\x83\x5C\x83", 3, text, 2), 2);
    EXPECT_EQ(std::u16string_view(text, 2), u"\u30BD\u30FB");
}

}  // namespace
}  // namespace platform
