#pragma once

#include <cstdint>

/// The types and error codes that the platform calls share, under their Windows names and with
/// their Windows sizes and values.
///
/// A file that also needs a Windows header includes the platform headers first: that header defines
/// some of these names as macros.
namespace platform {

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LSTATUS = std::int32_t;

/// The size of a buffer for a path, in characters, terminator included.
inline constexpr DWORD MAX_PATH = 260;

struct SECURITY_ATTRIBUTES;

struct HANDLE_TAG;
using HANDLE = HANDLE_TAG*;

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(std::intptr_t{-1});

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_READ_FAULT = 30;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_OPEN_FAILED = 110;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_KEY_DELETED = 1018;
inline constexpr DWORD ERROR_UNKNOWN_PRODUCT = 1605;
inline constexpr DWORD ERROR_UNKNOWN_PROPERTY = 1608;
inline constexpr DWORD ERROR_BAD_CONFIGURATION = 1610;
inline constexpr DWORD ERROR_BAD_QUERY_SYNTAX = 1615;
inline constexpr DWORD ERROR_FUNCTION_FAILED = 1627;
inline constexpr DWORD ERROR_UNKNOWN_PATCH = 1647;

}  // namespace platform
