#pragma once

#include "platform/types.h"

/// The call of Windows that reads texts of a code page. The simulated machine needs it for texts
/// out of packages; where there is no Windows, a stand-in takes its place.
namespace platform {

/// Decodes `size` bytes, at least one, of the code page 437, 850, 852, 866, 874, 932, 936, 949, 950
/// or 1250 to 1258; others are not asked for. `flags` is 0. `text` takes up to `capacity`
/// characters and gets no terminator of its own; there are never more of them than bytes.
///
/// Bytes that are not valid are no failure. A byte that is not taken becomes a control character or
/// one for private use. In a page with characters of two bytes a first byte takes the next one with
/// it, whatever that is, and both become the page's default character if they are none together; at
/// the end and in front of a NUL it becomes that character alone.
///
/// The number of characters; 0 if they do not fit or this system does not have the code page.
[[nodiscard]] int MultiByteToWideChar(UINT codePage, DWORD flags, const char* bytes, int size,
                                      char16_t* text, int capacity);

}  // namespace platform
