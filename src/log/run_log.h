#pragma once

#include <initializer_list>
#include <optional>
#include <string_view>

/// The run log: the tool's only diagnostic output, a text file that grows from run to run.
///
/// The log is off until it is turned on, and no failure of it is reported or changes a run. The
/// file is made at the first line. It holds one byte a character, U+0001 to U+00FF as the byte of
/// the same value. A character above that ends the log's output at that place, for the rest of the
/// run.
namespace saltrove {

inline constexpr std::u16string_view kRunLogPath = u"C:\\Windows\\Temp\\PatchCleanuplog.txt";
inline constexpr std::u16string_view kRunLogFolder =
    kRunLogPath.substr(0, kRunLogPath.rfind(u'\\'));

/// Turns the log on or off. To be called once in a run, before its first line: touches no file.
void TurnRunLog(bool isOn);

/// Writes one line: the local time in brackets, a blank, `text` as it is, a line end. Unless it had
/// to be cut, the line is with the operating system when the call returns. `text` may be empty, of
/// any length, and may hold line feeds of its own, which become line ends. Does nothing while the
/// log is off.
void WriteRunLog(std::u16string_view text);

/// The same with a text that is given in pieces, for a line of every package: while the log is off
/// no text is made of them.
void WriteRunLog(std::initializer_list<std::u16string_view> pieces);

/// Closes the file, which writes out the cut line of a log that ended early, and turns the log off:
/// the state in which a process starts. To be called at the end of the process. Returns the
/// character that ended the log early, if one did.
std::optional<char16_t> CloseRunLog();

}  // namespace saltrove
