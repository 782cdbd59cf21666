#include "replay/report.h"

#include "image/escape.h"
#include "image/reg_file.h"
#include "log/run_log.h"
#include "platform/simulated/texts/unicode.h"
#include "platform/wide_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace replay {

namespace {

using platform::simulated::EncodeUtf8;
using platform::simulated::RegistryValue;
using platform::simulated::StartedProcess;
using platform::simulated::UndecodedPackage;

/// Collects the lines of the report.
class ReportWriter {
  public:
    explicit ReportWriter(bool isColoured) : isColoured_(isColoured) {}

    void WriteHeading(const std::string& text) {
        if (!text_.empty())
            text_ += '\n';
        text_ += isColoured_ ? "\x1B[1m" + text + "\x1B[0m\n" : text + "\n";
    }

    void WriteLine(std::size_t indentation, const std::string& text) {
        if (!text.empty())
            text_.append(2 * indentation, ' ');
        text_ += image::EscapeControls(text) + "\n";
    }

    [[nodiscard]] const std::string& GetText() const {
        return text_;
    }

  private:
    bool isColoured_;
    std::string text_;
};

/// The packages that the run could not read, in the order in which it tried.
std::vector<std::string> ListUnreadPackages(const saltrove::RunRecord& record) {
    std::vector<std::string> packages;
    if (!record.orphans)
        return packages;
    for (const saltrove::CacheEntry& entry : record.orphans->entries) {
        if (entry.failure)
            packages.push_back("(" + EncodeUtf8(entry.fileName) + ", error " +
                               std::to_string(entry.failure->error) + ")");
    }
    return packages;
}

/// A character by its number, such as U+4E2D.
std::string DescribeCharacter(char16_t character) {
    std::array<char, 8> number{};
    std::snprintf(number.data(), number.size(), "U+%04X", static_cast<unsigned>(character));
    return number.data();
}

/// The lines of the log, and what they do not say.
void ReportLogLines(const ProcessReport& report, ReportWriter& writer) {
    const std::vector<std::string> unread = ListUnreadPackages(report.record);
    auto nextUnread = unread.begin();
    VisitLogLines(report.logBytes, [&](const std::u16string& line) {
        writer.WriteLine(0, EncodeUtf8(line));
        // Only these lines are about a package that they do not name, one line a package.
        if (TellsOfFailure(line) && nextUnread != unread.end())
            writer.WriteLine(2, *nextUnread++);
    });
    if (report.record.logCutAt)
        writer.WriteLine(1, "(the log ends here: " + DescribeCharacter(*report.record.logCutAt) +
                                " cannot stand in it)");
}

void ReportLog(const ProcessReport& report, ReportWriter& writer) {
    const std::string path = EncodeUtf8(saltrove::kRunLogPath);
    switch (report.logFate) {
    case LogFate::Off:
        writer.WriteHeading("Run log");
        writer.WriteLine(1, "The run log was off.");
        break;
    case LogFate::NotWritten:
        writer.WriteHeading("Run log");
        writer.WriteLine(1, "The run log was on, but " + path + " could not be opened.");
        break;
    case LogFate::Written:
        writer.WriteHeading("Run log, added to " + path);
        ReportLogLines(report, writer);
        break;
    }
}

std::string DescribeValue(const RegistryValue& value) {
    if (const auto number = platform::simulated::GetDword(&value))
        return "dword " + std::to_string(*number);
    return EncodeUtf8(image::FormatRegData(value));
}

void ReportRegistry(const image::Changes& changes, ReportWriter& writer) {
    writer.WriteHeading("Registry values");
    std::u16string_view keyPath;
    for (const image::ValueChange& change : changes.values) {
        if (change.keyPath != keyPath) {
            keyPath = change.keyPath;
            const bool isNew = std::find(changes.newKeys.begin(), changes.newKeys.end(),
                                         change.keyPath) != changes.newKeys.end();
            writer.WriteLine(1, EncodeUtf8(keyPath) + (isNew ? " (new key)" : ""));
        }
        const std::string name = change.name.empty() ? "(default)" : EncodeUtf8(change.name);
        writer.WriteLine(2, name + ": " +
                                (change.before ? DescribeValue(*change.before) : "(none)") +
                                " -> " + DescribeValue(change.after));
    }
    if (changes.values.empty())
        writer.WriteLine(1, "none changed");
}

void ReportRemovedFiles(const std::vector<image::RemovedFile>& files, ReportWriter& writer) {
    writer.WriteHeading("Files removed");
    std::uintmax_t sum = 0;
    for (const image::RemovedFile& file : files) {
        sum += file.size;
        writer.WriteLine(1, EncodeUtf8(file.path) + ", " + std::to_string(file.size) + " bytes");
    }
    if (files.empty())
        writer.WriteLine(1, "none");
    else
        writer.WriteLine(1, "together " + std::to_string(files.size()) + ", " +
                                std::to_string(sum) + " bytes");
}

void ReportRestartDeletions(const std::vector<std::u16string>& paths, ReportWriter& writer) {
    writer.WriteHeading("Deletions registered for the next restart");
    for (const std::u16string& path : paths)
        writer.WriteLine(1, EncodeUtf8(path));
    if (paths.empty())
        writer.WriteLine(1, "none");
}

/// Packages that a real machine may have opened. A section that few reports need.
void ReportUndecodedPackages(const std::vector<UndecodedPackage>& packages, ReportWriter& writer) {
    if (packages.empty())
        return;
    writer.WriteHeading("Packages not opened for their code page alone, which Windows may know");
    for (const UndecodedPackage& package : packages)
        writer.WriteLine(1, EncodeUtf8(package.path) + ", code page " +
                                std::to_string(package.codePage));
}

std::string DescribeProcess(const StartedProcess& process) {
    return std::to_string(process.id) + ", account " + EncodeUtf8(process.account) + ", session " +
           std::to_string(process.session);
}

void ReportStartedProcesses(const std::vector<StartedProcess>& processes, ReportWriter& writer) {
    writer.WriteHeading("Processes started");
    for (const StartedProcess& process : processes) {
        writer.WriteLine(1, DescribeProcess(process));
        writer.WriteLine(2, EncodeUtf8(process.commandLine));
    }
    if (processes.empty())
        writer.WriteLine(1, "none");
}

void ReportProcess(const ProcessReport& report, ReportWriter& writer) {
    ReportLog(report, writer);
    ReportRegistry(report.changes, writer);
    ReportRemovedFiles(report.changes.removedFiles, writer);
    ReportRestartDeletions(report.changes.restartDeletions, writer);
    ReportUndecodedPackages(report.undecodedPackages, writer);
    ReportStartedProcesses(report.startedProcesses, writer);
    writer.WriteHeading("Process exit code");
    writer.WriteLine(1, std::to_string(report.exitCode));
    if (report.leftOpen > 0)
        writer.WriteLine(1, "left open: " + std::to_string(report.leftOpen));
    if (report.badHandles > 0)
        writer.WriteLine(1, "bad handles: " + std::to_string(report.badHandles));
}

}  // namespace

std::u16string_view GetLogText(std::u16string_view line) {
    constexpr std::u16string_view kStamp = u"[2026-11-18 07:37:42.123] ";
    if (line.size() < kStamp.size() || line.front() != kStamp.front() ||
        line.substr(kStamp.size() - 2, 2) != kStamp.substr(kStamp.size() - 2))
        return {};
    return line.substr(kStamp.size());
}

bool TellsOfFailure(std::u16string_view line) {
    return GetLogText(line).starts_with(u"  [FAIL] ");
}

void VisitLogLines(std::string_view bytes,
                   const std::function<void(const std::u16string& line)>& visit) {
    while (!bytes.empty()) {
        const std::string_view line = bytes.substr(0, bytes.find("\r\n"));
        bytes.remove_prefix(std::min(line.size() + 2, bytes.size()));
        std::u16string text;
        for (const char byte : line)
            text.push_back(static_cast<unsigned char>(byte));
        visit(text);
    }
}

std::string FormatReport(const RunReport& report, bool isColoured) {
    ReportWriter writer(isColoured);
    ReportProcess(report.run, writer);
    for (const StartedProcessReport& started : report.started) {
        writer.WriteHeading("What the started process did: " + DescribeProcess(started.process));
        ReportProcess(started.report, writer);
    }
    return writer.GetText();
}

}  // namespace replay
