#include "log/run_log.h"

#include "platform/c_runtime.h"
#include "platform/clock.h"
#include "platform/files.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

namespace saltrove {

namespace {

struct LogFileCloser {
    void operator()(platform::FILE* file) const {
        platform::fclose(file);
    }
};

using LogFile = std::unique_ptr<platform::FILE, LogFileCloser>;

enum class LogState {
    Off,
    On,           ///< its first line will open the file
    Open,         ///< the file takes lines
    WithoutFile,  ///< the file could not be opened, which is not tried again
    Failed,       ///< the file is open and takes nothing more
};

struct RunLog {
    LogState state = LogState::Off;
    LogFile file;
    std::optional<char16_t> cutAt;  ///< the character that ended the log
};

RunLog runLog;

void OpenLogFile() {
    const std::u16string folder(kRunLogFolder);
    const platform::DWORD attributes = platform::GetFileAttributesW(folder.c_str());
    const bool isFolder = attributes != platform::INVALID_FILE_ATTRIBUTES &&
                          (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
    // The empty path cannot be opened. It is tried all the same, and is all that a machine sees of
    // a log without a file.
    const std::u16string path(isFolder ? kRunLogPath : u"");
    runLog.file.reset(platform::_wfsopen(path.c_str(), u"at", platform::_SH_DENYNO));
    runLog.state = runLog.file ? LogState::Open : LogState::WithoutFile;
}

std::u16string FormatTimeStamp() {
    platform::SYSTEMTIME now{};
    platform::GetLocalTime(&now);
    std::array<char, 64> stamp{};
    const int length = std::snprintf(
        stamp.data(), stamp.size(), "[%04d-%02d-%02d %02d:%02d:%02d.%03d] ", now.wYear, now.wMonth,
        now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    return {stamp.data(), stamp.data() + length};
}

/// Writes a line up to its first character that has no byte of its own; whether that was all of it
/// and it is with the operating system.
bool WriteLine(const std::u16string& line) {
    const auto end =
        std::find_if(line.begin(), line.end(), [](char16_t character) { return character > 0xFF; });
    std::string bytes;
    std::transform(line.begin(), end, std::back_inserter(bytes),
                   [](char16_t character) { return static_cast<char>(character); });
    if (platform::fwrite(bytes.data(), 1, bytes.size(), runLog.file.get()) != bytes.size())
        return false;
    if (end != line.end()) {
        // A line that was cut is not flushed: it stays with the C library until the file is closed.
        runLog.cutAt = *end;
        return false;
    }
    return platform::fflush(runLog.file.get()) == 0;
}

}  // namespace

void TurnRunLog(bool isOn) {
    runLog = RunLog{.state = isOn ? LogState::On : LogState::Off, .file = nullptr, .cutAt = {}};
}

void WriteRunLog(std::u16string_view text) {
    WriteRunLog({text});
}

void WriteRunLog(std::initializer_list<std::u16string_view> pieces) {
    if (runLog.state == LogState::On)
        OpenLogFile();
    if (!runLog.file)
        return;
    std::u16string line = FormatTimeStamp();
    for (const std::u16string_view piece : pieces)
        line += piece;
    line += u'\n';
    if (runLog.state == LogState::Open && !WriteLine(line))
        runLog.state = LogState::Failed;
}

std::optional<char16_t> CloseRunLog() {
    const RunLog closed = std::exchange(runLog, {});
    return closed.cutAt;
}

}  // namespace saltrove
