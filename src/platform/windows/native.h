#pragma once

#include "platform/modules.h"
#include "platform/registry.h"
#include "platform/types.h"

#include <cstddef>

// Behind every header of platform/, of whose names these define some as macros.
#include <windows.h>

/// The platform's types as Windows declares them. A value keeps its bits and changes its type
/// alone.
namespace platform {

static_assert(sizeof(wchar_t) == sizeof(char16_t));
static_assert(sizeof(::DWORD) == sizeof(DWORD));

[[nodiscard]] inline const wchar_t* Native(const char16_t* text) {
    return reinterpret_cast<const wchar_t*>(text);
}
[[nodiscard]] inline wchar_t* Native(char16_t* text) {
    return reinterpret_cast<wchar_t*>(text);
}
[[nodiscard]] inline ::DWORD* Native(DWORD* number) {
    return reinterpret_cast<::DWORD*>(number);
}
[[nodiscard]] inline ::HANDLE Native(HANDLE handle) {
    return reinterpret_cast<::HANDLE>(handle);
}
[[nodiscard]] inline ::HANDLE* Native(HANDLE* handle) {
    return reinterpret_cast<::HANDLE*>(handle);
}
[[nodiscard]] inline ::HKEY Native(HKEY key) {
    return reinterpret_cast<::HKEY>(key);
}
[[nodiscard]] inline ::HMODULE Native(HMODULE module) {
    return reinterpret_cast<::HMODULE>(module);
}

template <typename Ours, typename Theirs>
inline constexpr bool kSameSize = sizeof(Ours) == sizeof(Theirs);

}  // namespace platform

/// Holds a structure's size, and each of its fields, against Windows' own of the same name.
#define SALTROVE_SAME_SIZE(type) static_assert(platform::kSameSize<platform::type, ::type>)
#define SALTROVE_SAME_FIELD(type, field)                                                           \
    static_assert(offsetof(platform::type, field) == offsetof(::type, field) &&                    \
                  platform::kSameSize<decltype(platform::type::field), decltype(::type::field)>)
