#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::simulated {

/// The pool of texts that all tables of a Windows Installer database share. A text is named by its
/// place in the pool, counted from 1; 0 stands for the empty text.
class StringPool {
  public:
    /// Reads the pool out of its two streams, the lengths of the texts and the texts themselves.
    /// Nothing if they do not fit together to the last byte or the code page is not known; if that
    /// alone is in the way, `unknownCodePage` is set to it. Takes memory of a small multiple of
    /// both, however the lengths are.
    [[nodiscard]] static std::optional<StringPool>
    Read(std::string_view lengths, std::string_view data,
         std::optional<std::uint32_t>& unknownCodePage);

    /// A pool of these texts, in their order.
    [[nodiscard]] static StringPool OfTexts(const std::vector<std::u16string>& texts);

    /// The bytes that a reference takes in a table: 2, or 3 in a large database.
    [[nodiscard]] std::size_t GetReferenceWidth() const {
        return referenceWidth_;
    }

    /// The text that a reference names; nothing if the pool is not that large. Lives as long as the
    /// pool stays where it is.
    [[nodiscard]] std::optional<std::u16string_view> GetText(std::uint32_t reference) const;

  private:
    std::size_t referenceWidth_ = 2;
    std::u16string texts_;
    std::vector<std::size_t> ends_ = {
        0};  ///< where each text ends in `texts_`; of reference 0 at 0
};

}  // namespace platform::simulated
