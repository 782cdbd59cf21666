#include "run/run_log.h"

#include "platform/c_runtime.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/registry_access.h"
#include "product/product_track.h"

#include <array>
#include <cstdio>
#include <memory>

namespace saltrove {

namespace {

struct LogFileCloser {
    void operator()(platform::FILE* file) const {
        platform::fclose(file);
    }
};

struct RunLog {
    bool logEnabled = false;
    bool streamMade = false;
    bool streamFailed = false;
    std::unique_ptr<platform::FILE, LogFileCloser> file;
};

RunLog runLog;

void OpenLogFile() {
    const std::u16string directory(kRunLogDirectory);
    const platform::DWORD attributes = platform::GetFileAttributesW(directory.c_str());
    const bool isDirectory = attributes != platform::INVALID_FILE_ATTRIBUTES &&
                             (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
    // The empty path cannot be opened, which leaves the log without a file for the rest of the run.
    const std::u16string path(isDirectory ? kRunLogPath : u"");
    runLog.streamMade = true;
    runLog.file.reset(platform::_wfsopen(path.c_str(), u"at", platform::_SH_DENYNO));
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

/// Hands the characters of `text` to the file, up to the first that has no byte of its own.
void InsertText(std::u16string_view text) {
    std::string bytes;
    for (const char16_t character : text) {
        if (character > 0xFF) {
            runLog.streamFailed = true;
            break;
        }
        bytes.push_back(static_cast<char>(character));
    }
    if (platform::fwrite(bytes.data(), 1, bytes.size(), runLog.file.get()) != bytes.size())
        runLog.streamFailed = true;
}

}  // namespace

void InitRunLog(const std::u16string& productCode) {
    runLog.logEnabled = false;
    platform::RegistryKey key;
    if (platform::OpenKeyForReading(platform::HKEY_LOCAL_MACHINE, GetCleanupKeyPath(productCode),
                                    key) == 0)
        runLog.logEnabled = platform::QueryDword(key, u"EnablePatchCleanuplog") == 1U;
}

void WriteRunLog(std::u16string_view text) {
    if (!runLog.logEnabled)
        return;
    if (!runLog.streamMade)
        OpenLogFile();
    if (!runLog.file)
        return;
    const std::u16string timeStamp = FormatTimeStamp();
    for (const std::u16string_view piece : {std::u16string_view(timeStamp), text, {u"\n"}}) {
        if (!runLog.streamFailed)
            InsertText(piece);
    }
    // A failed stream is not flushed: the piece of a line that it took stays with the C library
    // until the file is closed.
    if (!runLog.streamFailed && platform::fflush(runLog.file.get()) != 0)
        runLog.streamFailed = true;
}

void CloseRunLog() {
    runLog = RunLog{};
}

}  // namespace saltrove
