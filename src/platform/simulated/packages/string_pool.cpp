#include "platform/simulated/packages/string_pool.h"

#include "platform/simulated/packages/little_endian.h"
#include "platform/simulated/texts/code_page.h"

#include <utility>

namespace platform::simulated {

namespace {

constexpr std::uint32_t kLongReferences = 0x80000000;
constexpr std::size_t kEntrySize = 4;
constexpr std::size_t kLongestText = 0x7FFFFFFF;  // what can be decoded at once

}  // namespace

std::optional<StringPool> StringPool::Read(std::string_view lengths, std::string_view data,
                                           std::optional<std::uint32_t>& unknownCodePage) {
    if (lengths.size() < kEntrySize || lengths.size() % kEntrySize != 0)
        return std::nullopt;
    const std::uint32_t head = ReadU32(lengths, 0);
    const std::uint32_t codePage = head & ~kLongReferences;
    const bool isKnown = IsKnownCodePage(codePage);
    StringPool pool;
    pool.referenceWidth_ = (head & kLongReferences) != 0 ? 3 : 2;
    for (std::size_t i = kEntrySize; i < lengths.size(); i += kEntrySize) {
        // An entry is a length and a count of uses.
        std::size_t length = ReadU16(lengths, i);
        if (length == 0 && ReadU16(lengths, i + 2) != 0) {
            // A text of 64 KiB or more has its length in the entry behind its own.
            i += kEntrySize;
            if (i >= lengths.size())
                return std::nullopt;
            length = ReadU32(lengths, i);
        }
        if (length > data.size() || length > kLongestText)
            return std::nullopt;
        if (isKnown)
            pool.texts_ += DecodeCodePage(codePage, data.substr(0, length));
        pool.ends_.push_back(pool.texts_.size());
        data.remove_prefix(length);
    }
    // A length that is wrong shifts every text behind it, and leaves something over or lacking.
    if (!data.empty())
        return std::nullopt;
    if (!isKnown) {
        unknownCodePage = codePage;
        return std::nullopt;
    }
    return pool;
}

StringPool StringPool::OfTexts(const std::vector<std::u16string>& texts) {
    StringPool pool;
    for (const std::u16string& text : texts) {
        pool.texts_ += text;
        pool.ends_.push_back(pool.texts_.size());
    }
    return pool;
}

std::optional<std::u16string_view> StringPool::GetText(std::uint32_t reference) const {
    if (reference >= ends_.size())
        return std::nullopt;
    const std::size_t start = reference == 0 ? 0 : ends_[reference - 1];
    return std::u16string_view(texts_).substr(start, ends_[reference] - start);
}

}  // namespace platform::simulated
