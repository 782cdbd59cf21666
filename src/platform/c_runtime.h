#pragma once

#include "platform/types.h"

#include <cstddef>

/// What is used of the Windows C runtime and has no portable twin: a text-mode file with a share
/// mode, and letter case by locale. Names and meanings are the runtime's.
namespace platform {

struct FILE;

inline constexpr int _SH_DENYNO = 64;  // NOLINT(bugprone-reserved-identifier): its own name

/// Opens a file by mode; null on failure, which an empty path always is. With u"at" the file is
/// created if missing, every write goes to its end, and each line feed is written as the two bytes
/// 0x0D 0x0A.
[[nodiscard]] FILE* _wfsopen(const char16_t* path, const char16_t* mode, int shareFlag);

/// Gives `count` items of `size` bytes to the stream; the number of items taken.
[[nodiscard]] std::size_t fwrite(const void* data, std::size_t size, std::size_t count,
                                 FILE* stream);

/// Hands to the operating system what the stream still holds; 0 on success.
[[nodiscard]] int fflush(FILE* stream);

/// Closes the stream, having written out what it still held; 0 on success.
int fclose(FILE* stream);

struct LOCALE_TAG;
using _locale_t = LOCALE_TAG*;

/// LC_CTYPE of the Windows C runtime. (The name itself is a macro of the host's own.)
inline constexpr int CTYPE_CATEGORY = 2;

/// Sets up a locale; the empty name is the native one, of the user's environment. Null on failure.
[[nodiscard]] _locale_t _create_locale(int category, const char* name);

/// The lower-case form of one 16-bit character by a locale's classification.
[[nodiscard]] char16_t _towlower_l(char16_t character, _locale_t locale);

void _free_locale(_locale_t locale);

}  // namespace platform
