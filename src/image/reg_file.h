#pragma once

#include "platform/simulated/machine/registry_store.h"

#include <string>
#include <string_view>

/// Registry exports: text files in the format "Windows Registry Editor Version 5.00".
namespace image {

/// Carries out what a registry export says on `registry`, from its first line to its last.
///
/// `bytes` is the file, UTF-16LE with a byte-order mark or UTF-8; lines end in LF or CR LF. They
/// are let go as soon as they are decoded. `file` is the file's name for errors, and `account` the
/// owner of what it calls HKEY_CURRENT_USER. A text in quotes may go over several lines, as Windows
/// writes one that holds line ends. Throws ImageError at the first fault; what stood in front of it
/// has been carried out by then.
void ReadRegFile(const std::string& file, std::string bytes, std::u16string_view account,
                 platform::simulated::Registry& registry);

/// The whole registry as an export: UTF-16LE with a byte-order mark, CR LF, keys and values in
/// their order without regard to case. Reading it gives the same registry again.
[[nodiscard]] std::string FormatRegFile(const platform::simulated::Registry& registry);

/// The name of a value as an export has it in front of the "=": in quotes, or "@" where it is
/// empty.
[[nodiscard]] std::u16string FormatRegName(std::u16string_view name);

/// The data of a value as an export has it behind the "=", on one line: a text in quotes where the
/// data is one text with its terminator and without line ends, "dword:" for a REG_DWORD of 4
/// bytes, else "hex:" or "hex(N):" with every byte.
[[nodiscard]] std::u16string FormatRegData(const platform::simulated::RegistryValue& value);

}  // namespace image
