#pragma once

#include "platform/processes.h"

#include <string>
#include <string_view>
#include <vector>

/// Security identifiers in their binary form: a revision, the number of parts, the authority in six
/// bytes, the parts in four bytes each.
namespace platform::simulated {

[[nodiscard]] std::vector<BYTE> MakeSid(const SID_IDENTIFIER_AUTHORITY& authority,
                                        const std::vector<DWORD>& parts);

/// The SID that a text such as S-1-5-18 stands for. Numbers that are too large are cut.
[[nodiscard]] std::vector<BYTE> MakeSidFromText(std::u16string_view text);

/// The text for a SID, such as S-1-5-18.
[[nodiscard]] std::u16string FormatSid(PSID sid);

/// The size of a SID in bytes.
[[nodiscard]] std::size_t GetSidSize(PSID sid);

}  // namespace platform::simulated
