#include "image/machine_ini.h"

#include "image/image_error.h"
#include "image/ini_text.h"
#include "image/package_section.h"
#include "image/text_file.h"
#include "image/utc_time.h"
#include "platform/simulated/texts/unicode.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <set>
#include <utility>

namespace image {

namespace {

using platform::DWORD;
using platform::simulated::EncodeUtf8;
using platform::simulated::Fault;
using platform::simulated::FoldCase;
using platform::simulated::Machine;
using platform::simulated::MakeCanonicalKeyPath;
using platform::simulated::MakeFaultSubject;
using platform::simulated::OtherProcess;

/// A session's number. The highest stands for no session.
DWORD ParseSession(std::u16string_view text) {
    return ParseNumber<DWORD>(text, 0, std::numeric_limits<DWORD>::max() - 1, "a session");
}

std::u16string ParseSid(std::u16string_view text) {
    const bool isSid = text.starts_with(u"S-1-") && text.size() > 4 && text.back() != u'-' &&
                       text.find(u"--") == std::u16string_view::npos &&
                       text.find_first_not_of(u"0123456789-", 4) == std::u16string_view::npos;
    if (!isSid)
        throw LineError(Quote(text) + " is not a SID (such as S-1-5-18)");
    return std::u16string(text);
}

std::u16string ParsePath(std::u16string_view text) {
    if (text.empty())
        throw LineError("the path is empty");
    return std::u16string(text);
}

std::chrono::sys_time<std::chrono::milliseconds> ParseTime(std::u16string_view text) {
    const auto time = ParseUtc(text);
    if (!time)
        throw LineError(Quote(text) + " is not a time in UTC (such as 2026-11-18T07:37:42.123Z)");
    return *time;
}

[[noreturn]] void RejectKey(std::u16string_view key, const std::string& known) {
    throw LineError(Quote(key) + " is not a key of this section (" + known + ")");
}

void ReadProcess(Machine& machine, std::u16string_view key, std::u16string_view value) {
    if (key == u"account")
        machine.process.account = ParseSid(value);
    else if (key == u"session")
        machine.process.session = ParseSession(value);
    else if (key == u"module")
        machine.process.module = ParsePath(value);
    else
        RejectKey(key, "account, session, module");
}

void ReadClock(Machine& machine, std::u16string_view key, std::u16string_view value) {
    constexpr int kMinutesInDay = 24 * 60;
    if (key == u"utc")
        machine.clock.utc = ParseTime(value);
    else if (key == u"offset")
        machine.clock.offset = std::chrono::minutes(
            ParseNumber(value, -kMinutesInDay, kMinutesInDay, "a number of minutes"));
    else
        RejectKey(key, "utc, offset");
}

void ReadWindows(Machine& machine, std::u16string_view key, std::u16string_view value) {
    if (key != u"directory")
        RejectKey(key, "directory");
    machine.windowsDirectory = value;
}

void ReadMissing(Machine& machine, std::u16string_view key, std::u16string_view value) {
    const std::u16string_view module = key.substr(0, key.find(u'!'));
    const std::string function =
        module == key ? std::string() : EncodeUtf8(key.substr(module.size() + 1));
    if (!platform::simulated::IsKnownExport(module, function) ||
        (module != key && function.empty()))
        throw LineError(Quote(key) + " is not a module that the machine has, nor MODULE!FUNCTION");
    if (!value.empty())
        throw LineError("nothing stands behind the \"=\" in this section");
    machine.missing.push_back({std::u16string(module), function});
}

void ReadSession(Machine& machine, std::u16string_view key, std::u16string_view value) {
    if (value != u"active" && value != u"disconnected")
        throw LineError(Quote(value) + " is not a state (active, disconnected)");
    machine.sessions.push_back({ParseSession(key), value == u"active"});
}

void ReadProcessLine(Machine& machine, std::u16string_view key, std::u16string_view value) {
    const std::size_t first = value.find(u',');
    const std::size_t second = value.find(u',', first + 1);
    if (first == std::u16string_view::npos || second == std::u16string_view::npos)
        throw LineError(Quote(value) + " is not \"SESSION, SID, IMAGE PATH\"");
    machine.processes.push_back({ParseNumber<DWORD>(key, 0, 0x7FFFFFFF, "a process id"),
                                 ParseSession(Trim(value.substr(0, first))),
                                 ParseSid(Trim(value.substr(first + 1, second - first - 1))),
                                 ParsePath(Trim(value.substr(second + 1)))});
}

void AddFault(Machine& machine, const char* call, std::u16string subject,
              std::u16string_view code) {
    Fault fault;
    fault.call = call;
    fault.subject = std::move(subject);
    fault.code = ParseErrorCode(code);
    machine.faults.Add(std::move(fault));
}

std::u16string ParseKeyPath(const Machine& machine, std::u16string_view key) {
    std::optional<std::u16string> path = MakeCanonicalKeyPath(key, machine.process.account);
    if (!path)
        throw LineError(Quote(key) + " is not a registry key");
    return *std::move(path);
}

void ReadDeleteError(Machine& machine, std::u16string_view key, std::u16string_view value) {
    AddFault(machine, "DeleteFileW", MakeFaultSubject(ParsePath(key)), value);
}

void ReadMarkError(Machine& machine, std::u16string_view key, std::u16string_view value) {
    AddFault(machine, "MoveFileExW", MakeFaultSubject(ParsePath(key)), value);
}

void ReadKeyError(Machine& machine, std::u16string_view key, std::u16string_view value) {
    AddFault(machine, "RegOpenKeyExW", ParseKeyPath(machine, key), value);
    AddFault(machine, "RegCreateKeyExW", ParseKeyPath(machine, key), value);
}

void ReadCreateError(Machine& machine, std::u16string_view key, std::u16string_view value) {
    AddFault(machine, "RegCreateKeyExW", ParseKeyPath(machine, key), value);
}

struct Section {
    std::u16string_view name;
    void (*read)(Machine& machine, std::u16string_view key, std::u16string_view value);
    bool keysArePaths;  // these may hold a "=" of their own, so the last one parts key and value
};

/// Its lines are read by the reader itself, which knows to which package they belong.
constexpr std::u16string_view kPackage = u"package";

constexpr Section kSections[] = {
    {u"process", ReadProcess, false},
    {u"clock", ReadClock, false},
    {u"windows", ReadWindows, false},
    {u"missing", ReadMissing, false},
    {u"sessions", ReadSession, false},
    {u"processes", ReadProcessLine, false},
    {u"delete-errors", ReadDeleteError, true},
    {u"mark-errors", ReadMarkError, true},
    {u"key-errors", ReadKeyError, true},
    {u"create-errors", ReadCreateError, true},
    {kPackage, nullptr, false},
};

const Section& FindSection(std::u16string_view line) {
    const auto* section =
        std::find_if(std::begin(kSections), std::end(kSections), [&](const Section& known) {
            return line == u"[" + std::u16string(known.name) + u"]";
        });
    if (section == std::end(kSections))
        throw LineError(Quote(line) + " is not a section");
    return *section;
}

/// Reads line by line, and knows in which section it is and which keys it has seen.
class IniReader {
  public:
    explicit IniReader(Machine& machine) : machine_(machine) {}

    void ReadLine(std::u16string_view line) {
        ++line_;
        if (line.empty() || line.front() == u';')
            return;
        if (line.front() == u'[')
            BeginSection(line);
        else
            ReadEntry(line);
    }

    /// To be called behind the last line.
    void EndSection() {
        if (package_)
            AddPackage(*package_, machine_.drive);
        package_.reset();
    }

    [[nodiscard]] std::size_t GetLine() const {
        return line_;
    }

    [[nodiscard]] std::string FormatSection() const {
        return section_ == nullptr ? "" : "[" + EncodeUtf8(section_->name) + "]: ";
    }

  private:
    void BeginSection(std::u16string_view line) {
        const Section& section = FindSection(line);
        EndSection();
        section_ = &section;
        if (section.name == kPackage) {
            package_.emplace().line = line_;
            std::erase_if(seen_, [&](const auto& key) { return key.first == section_; });
        }
    }

    void ReadEntry(std::u16string_view line) {
        if (section_ == nullptr)
            throw LineError("a line in front of the first section");
        const std::size_t equals = section_->keysArePaths ? line.rfind(u'=') : line.find(u'=');
        if (equals == std::u16string_view::npos)
            throw LineError("the line has no \"=\"");
        const std::u16string_view key = Trim(line.substr(0, equals));
        const std::u16string_view value = Trim(line.substr(equals + 1));
        if (!seen_.insert({section_, FoldCase(key)}).second)
            throw LineError(Quote(key) + " stands here a second time");
        if (package_)
            ReadPackageLine(machine_.drive, *package_, key, value);
        else
            section_->read(machine_, key, value);
    }

    Machine& machine_;
    std::size_t line_ = 0;
    const Section* section_ = nullptr;
    std::optional<PackageSection> package_;  ///< in a section of that name
    std::set<std::pair<const Section*, std::u16string>> seen_;
};

void ReadLines(const std::string& file, std::u16string_view text, Machine& machine) {
    IniReader reader(machine);
    try {
        while (!text.empty()) {
            const std::size_t length = std::min(text.find(u'\n'), text.size());
            reader.ReadLine(Trim(text.substr(0, length)));
            text.remove_prefix(std::min(length + 1, text.size()));
        }
        reader.EndSection();
    } catch (const LineError& error) {
        throw ImageError(file, error.GetLine() == 0 ? reader.GetLine() : error.GetLine(),
                         reader.FormatSection() + error.what());
    }
}

std::string FormatLists(const Machine& machine) {
    std::string text;
    const auto begin = [&](const char* section, bool isNeeded) {
        if (isNeeded)
            text += std::string("\n[") + section + "]\n";
    };
    begin("missing", !machine.missing.empty());
    for (const platform::simulated::MissingExport& missing : machine.missing)
        text += EncodeUtf8(missing.module) +
                (missing.function.empty() ? "" : "!" + missing.function) + " =\n";
    begin("sessions", !machine.sessions.empty());
    for (const platform::simulated::Session& session : machine.sessions)
        text += std::to_string(session.id) + (session.isActive ? " = active" : " = disconnected") +
                "\n";
    begin("processes", !machine.processes.empty());
    for (const OtherProcess& other : machine.processes)
        text += std::to_string(other.id) + " = " + std::to_string(other.session) + ", " +
                EncodeUtf8(other.account) + ", " + EncodeUtf8(other.imagePath) + "\n";
    return text;
}

}  // namespace

void ReadMachineIni(const std::string& file, std::string_view bytes, Machine& machine) {
    const std::u16string text = DecodeText(file, bytes);
    // What HKEY_CURRENT_USER means in a section of errors may be said behind it.
    Machine draft;
    ReadLines(file, text, draft);
    machine.process = draft.process;
    ReadLines(file, text, machine);
    // The run's own process, and those that it starts, have ids of their own.
    for (const OtherProcess& other : machine.processes)
        machine.process.id = std::max(machine.process.id, other.id + 1);
}

std::string FormatMachineIni(const Machine& machine) {
    std::string text = "[process]\naccount = " + EncodeUtf8(machine.process.account) +
                       "\nsession = " + std::to_string(machine.process.session) +
                       "\nmodule = " + EncodeUtf8(machine.process.module) + "\n\n[clock]\n";
    if (machine.clock.utc)
        text += "utc = " + FormatUtc(*machine.clock.utc) + "\n";
    text += "offset = " + std::to_string(machine.clock.offset.count()) +
            "\n\n[windows]\ndirectory = " + EncodeUtf8(machine.windowsDirectory) + "\n";
    return text + FormatLists(machine) + FormatPackages(machine.drive);
}

std::string RewritePackages(std::string_view bytes, const platform::simulated::Drive& drive) {
    std::string kept;
    bool isPackage = false;
    while (!bytes.empty()) {
        const std::string_view line =
            bytes.substr(0, std::min(bytes.find('\n'), bytes.size() - 1) + 1);
        bytes.remove_prefix(line.size());
        const std::size_t first = std::min(line.find_first_not_of(" \t"), line.size());
        if (line.substr(first).starts_with('['))
            isPackage = line.substr(first).starts_with("[package]");
        if (!isPackage)
            kept += line;
    }
    const std::string packages = FormatPackages(drive);
    if (packages.empty())
        return kept;
    kept.erase(kept.find_last_not_of("\r\n") + 1);
    return kept + (kept.empty() ? "" : "\n") + packages;
}

}  // namespace image
