#pragma once

#include <string>
#include <string_view>

/// The machine on which the contracts of the platform's calls are tried out. It is either the
/// simulated one or the real one, which may be trusted with nothing: its registry and drive C: are
/// written to.
namespace contract {

/// Whether the real machine is Wine, whose answers are not always those of Windows.
extern const bool kIsWine;

/// A folder for the files of the contracts, with a backslash at its end.
inline const std::u16string kFolder = u"C:\\Saltrove Contract\\";

/// Puts a file there, with the folders above it.
void PutFile(const std::u16string& path, std::string_view bytes);

/// The bytes of a file, which others may hold open.
std::string ReadFile(const std::u16string& path);

void SetReadOnly(const std::u16string& path, bool isReadOnly);

}  // namespace contract
