// What prove.cmd cannot do itself, on the machine on which Saltrove is proved: it asks the
// registry, starts a program with the arguments of an image while the image's packages are in use,
// and compares what a run was expected to change with what it changed.

#include "cleanup/package_removal.h"
#include "image/changes.h"
#include "image/host_path.h"
#include "image/image.h"
#include "image/reg_file.h"
#include "log/run_log.h"
#include "platform/entry.h"
#include "platform/registry_access.h"
#include "platform/simulated/machine/pending_renames.h"
#include "platform/simulated/texts/letter_case.h"
#include "platform/simulated/texts/unicode.h"
#include "platform/start.h"
#include "product/cleanup_key.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <regex>
#include <set>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;
using platform::DWORD;
using platform::simulated::EncodeUtf8;
using platform::simulated::Machine;
using platform::simulated::Registry;
using platform::simulated::RegistryValue;

constexpr std::u16string_view kMachineHive = u"HKEY_LOCAL_MACHINE\\";
constexpr std::u16string_view kUserHive = u"HKEY_CURRENT_USER";
/// In seconds, how far the times of two runs may lie apart that are meant to be the same.
constexpr std::int64_t kSameTime = 300;

std::string ReadBytes(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
}

std::int64_t GetNow() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

bool IsCleanupTime(std::u16string_view name, const RegistryValue& value) {
    return name == saltrove::kCleanupTimeValue && value.type == platform::REG_DWORD;
}

/// Throws unless the registry has done what it was asked, or has nothing there.
void ExpectRead(platform::LSTATUS status, std::u16string_view path) {
    if (status != 0 && status != platform::ERROR_FILE_NOT_FOUND)
        throw std::runtime_error(EncodeUtf8(path) + " cannot be read: error " +
                                 std::to_string(status));
}

/// Opens a key of the real registry; null if it is not there.
platform::RegistryKey OpenReal(std::u16string_view path) {
    platform::RegistryKey key;
    if (path.starts_with(kMachineHive))
        ExpectRead(platform::OpenKeyForReading(platform::HKEY_LOCAL_MACHINE,
                                               std::u16string(path.substr(kMachineHive.size())),
                                               key),
                   path);
    return key;
}

/// Registers what brings a value of the real registry back: the value, or that there is none.
void SaveValue(const platform::RegistryKey& key, const std::u16string& path,
               const std::u16string& name, Registry& saved, std::u16string& deletions) {
    DWORD type = 0;
    DWORD size = 0;
    platform::simulated::ValueData data;
    auto status =
        platform::RegQueryValueExW(key.get(), name.c_str(), nullptr, &type, nullptr, &size);
    if (status == 0) {
        data.resize(size + 2);
        size = static_cast<DWORD>(data.size());
        status =
            platform::RegQueryValueExW(key.get(), name.c_str(), nullptr, &type, data.data(), &size);
        data.resize(size);
    }
    if (status == 0) {
        saved.SetValue(path, name, type, std::move(data));
        return;
    }
    ExpectRead(status, path);
    deletions += u"[" + path + u"]\r\n" + image::FormatRegName(name) + u"=-\r\n";
}

/// The bytes of a registry export, with more lines at its end.
std::string AppendLines(std::string bytes, const std::u16string& lines) {
    return bytes.append(reinterpret_cast<const char*>(lines.data()),
                        lines.size() * sizeof(char16_t));
}

/// Writes the registry of an image as it can be imported here, and what takes it back:
/// machine.reg and undo.reg. The last cleanup is as long ago as it was.
int Prepare(const fs::path& folder, const fs::path& work) {
    const Machine machine = image::ReadImage(folder).machine;
    const std::int64_t later =
        machine.clock.utc ? GetNow() - std::chrono::floor<std::chrono::seconds>(*machine.clock.utc)
                                           .time_since_epoch()
                                           .count()
                          : 0;
    Registry laid;
    Registry saved;
    std::u16string deletions;
    std::u16string added = u"(none)";
    const std::u16string user = u"HKEY_USERS\\" + machine.process.account;
    machine.registry.GetKeys().Walk([&](const std::u16string& path, const auto& values) {
        if (!path.starts_with(kMachineHive) && !path.starts_with(user + u"\\"))
            return;
        laid.CreateKey(path);
        const platform::RegistryKey real = OpenReal(path);
        if (!real && path.starts_with(kMachineHive) && !path.starts_with(added + u"\\")) {
            added = path;
            deletions += u"[-" + path + u"]\r\n";
        }
        for (const auto& [name, value] : values) {
            if (IsCleanupTime(name, value) && value.data.size() == sizeof(DWORD)) {
                const auto time =
                    static_cast<DWORD>(*platform::simulated::GetDword(&value) + later);
                laid.SetDword(path, name, time);
            } else {
                laid.SetValue(path, name, value.type, value.data);
            }
            if (real)
                SaveValue(real, path, name, saved, deletions);
        }
    });
    SaveValue(OpenReal(platform::simulated::kPendingRenamesKey),
              std::u16string(platform::simulated::kPendingRenamesKey),
              platform::simulated::kPendingRenamesValue, saved, deletions);
    std::string bytes = image::FormatRegFile(laid);
    // The account of this machine is another.
    std::u16string text((bytes.size()) / sizeof(char16_t), u'\0');
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(text.data()));
    for (std::size_t at = 0; (at = text.find(u"[" + user + u"\\", at)) != std::u16string::npos;
         ++at)
        text.replace(at + 1, user.size(), kUserHive);
    WriteBytes(work / "machine.reg", AppendLines({}, text));
    WriteBytes(work / "undo.reg", AppendLines(image::FormatRegFile(saved), deletions));
    return 0;
}

/// The image's files on this machine whose deletion has to fail with the code.
std::vector<fs::path> ListUndeletable(Machine& machine, DWORD code) {
    std::vector<std::u16string> paths;
    machine.drive.GetNodes().Walk([&](const std::u16string& path, const auto& node) {
        if (!node.isDirectory)
            paths.push_back(path);
    });
    std::vector<fs::path> found;
    for (const std::u16string& path : paths) {
        if (machine.faults.Meet("DeleteFileW", platform::simulated::MakeFaultSubject(path)) == code)
            found.emplace_back(path);
    }
    return found;
}

std::vector<std::string> GetImageArguments(const image::Image& image) {
    std::vector<std::string> arguments;
    for (const std::u16string& argument : image.arguments)
        arguments.push_back(EncodeUtf8(argument));
    return arguments;
}

/// Runs a program with arguments of its own and those of the image, while the files that the image
/// says are in use are open, and those that are denied are read-only. Returns its exit code.
int Run(const fs::path& folder, const fs::path& program, std::vector<std::string> arguments) {
    image::Image image = image::ReadImage(folder);
    std::ranges::copy(GetImageArguments(image), std::back_inserter(arguments));
    std::vector<std::ifstream> held;
    for (const fs::path& path : ListUndeletable(image.machine, 32)) {
        if (!held.emplace_back(path).is_open())
            std::cerr << image::ShowPath(path) << " cannot be held\n";
    }
    for (const fs::path& path : ListUndeletable(image.machine, 5)) {
        if (!platform::SetReadOnly(path, true))
            std::cerr << image::ShowPath(path) << " cannot be made read-only\n";
    }
    return platform::StartAndWait(program, arguments);
}

/// Adds to the collected machine what nobody can tell who only looks: which files are in use or are
/// denied, as the image has it.
int Mark(const fs::path& folder, const fs::path& collected) {
    Machine machine = image::ReadImage(folder).machine;
    std::string lines = "\n[delete-errors]\n";
    for (const DWORD code : {DWORD{32}, DWORD{5}}) {
        for (const fs::path& path : ListUndeletable(machine, code))
            lines += image::ShowPath(path) + " = " + std::to_string(code) + "\n";
    }
    WriteBytes(collected / "machine.ini", ReadBytes(collected / "machine.ini") + lines);
    return 0;
}

/// Takes away the files of an image, which were copied to drive C:, its folders in the package
/// cache, and the run log.
int Clean(const fs::path& folder) {
    const Machine machine = image::ReadImage(folder).machine;
    std::vector<fs::path> laid{saltrove::kRunLogPath};
    machine.drive.GetNodes().Walk([&](const std::u16string& path, const auto& node) {
        if (!node.isDirectory || path.starts_with(saltrove::kInstallerCache))
            laid.emplace_back(path);
    });
    int failed = 0;
    // What lies in a folder comes behind it.
    std::ranges::reverse(laid);
    for (const fs::path& path : laid) {
        if (!fs::exists(path))
            continue;
        platform::SetReadOnly(path, false);
        std::error_code error;
        if (!fs::remove(path, error)) {
            std::cerr << image::ShowPath(path) << " cannot be taken away: " << error.message()
                      << "\n";
            failed = 1;
        }
    }
    return failed;
}

/// A line for each thing that a run changed.
std::multiset<std::string> ListChanges(const Machine& before, const Machine& after) {
    const image::Changes changes = image::CompareMachines(before.registry, before.drive, after);
    std::multiset<std::string> lines;
    for (const std::u16string& key : changes.newKeys)
        lines.insert("new key: " + EncodeUtf8(key));
    for (const image::ValueChange& change : changes.values) {
        std::string data = EncodeUtf8(image::FormatRegData(change.after));
        if (IsCleanupTime(change.name, change.after) &&
            std::abs(GetNow() - platform::simulated::GetDword(&change.after).value_or(0)) <
                kSameTime)
            data = "now";
        lines.insert("value: " + EncodeUtf8(change.keyPath + u"\\" + change.name) + " = " + data);
    }
    before.registry.GetKeys().Walk([&](const std::u16string& path, const auto& values) {
        for (const auto& [name, value] : values) {
            if (after.registry.FindValue(path, name) == nullptr)
                lines.insert("value gone: " + EncodeUtf8(path) + "\\" + EncodeUtf8(name));
        }
    });
    for (const image::RemovedFile& file : changes.removedFiles)
        lines.insert("removed: " + EncodeUtf8(file.path));
    for (const std::u16string& path : changes.restartDeletions)
        lines.insert("goes at the restart: " + EncodeUtf8(path));
    return lines;
}

/// The lines of a run log without what differs between two runs of the same: times and durations.
std::vector<std::string> ReadLog(const fs::path& path) {
    static const std::regex kStamp("^\\[[0-9-]{10} [0-9:]{8}\\.[0-9]{3}\\] ");
    static const std::regex kDuration("(execution time: )[0-9]+( ms)");
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(
            std::regex_replace(std::regex_replace(line, kStamp, "[TIME] "), kDuration, "$1N$2"));
    return lines;
}

/// The files of an image that are not on this machine as they were laid, but for those that were
/// expected to go, and the run log.
std::vector<std::string> ListDamaged(const Machine& laid, const image::Changes& expected) {
    std::set<std::u16string> gone{platform::simulated::FoldCase(saltrove::kRunLogPath)};
    for (const image::RemovedFile& file : expected.removedFiles)
        gone.insert(platform::simulated::FoldCase(file.path));
    std::vector<std::string> damaged;
    laid.drive.GetNodes().Walk([&](const std::u16string& path, const auto& node) {
        if (!node.isDirectory && !gone.contains(platform::simulated::FoldCase(path)) &&
            (!fs::exists(path) || ReadBytes(path) != platform::simulated::ReadContent(node)))
            damaged.push_back(EncodeUtf8(path));
    });
    return damaged;
}

/// Compares what a run was expected to change with what it has changed. `laid` is the image that
/// was laid over this machine; `before` and `after` are images of the machine, `expected` one that
/// saltrove-replay made of `before`.
int Compare(const fs::path& laid, const fs::path& before, const fs::path& expected,
            const fs::path& after, const std::string& expectedStatus, const std::string& status) {
    const Machine machine = image::ReadImage(before).machine;
    const Machine expectedMachine = image::ReadImage(expected).machine;
    const auto wanted = ListChanges(machine, expectedMachine);
    const auto found = ListChanges(machine, image::ReadImage(after).machine);
    std::vector<std::string> differences;
    const auto differ = [&](const std::string& what, const auto& lines) {
        for (const std::string& line : lines)
            differences.push_back(what + line);
    };
    std::vector<std::string> missing;
    std::vector<std::string> surplus;
    std::ranges::set_difference(wanted, found, std::back_inserter(missing));
    std::ranges::set_difference(found, wanted, std::back_inserter(surplus));
    differ("    expected, and not seen: ", missing);
    differ("    seen, and not expected: ", surplus);
    differ("    gone or changed: ",
           ListDamaged(image::ReadImage(laid).machine,
                       image::CompareMachines(machine.registry, machine.drive, expectedMachine)));
    if (status != expectedStatus)
        differences.push_back("    exit code: " + status + " and not " + expectedStatus);
    const auto log = ReadLog(saltrove::kRunLogPath);
    const auto expectedLog = ReadLog(expected / "C/Windows/Temp/PatchCleanuplog.txt");
    if (log != expectedLog) {
        differ("    run log expected: ", expectedLog);
        differ("    run log: ", log);
    }
    for (const std::string& line : differences)
        std::cout << line << "\n";
    return differences.empty() ? 0 : 1;
}

int UseCommandLine(std::span<const std::u16string> arguments) {
    const std::u16string command = arguments.size() < 2 ? u"" : arguments[1];
    const std::size_t count = arguments.size() - std::min<std::size_t>(arguments.size(), 2);
    const auto given = arguments.last(count);
    if (command == u"prepare" && count == 2)
        return Prepare(given[0], given[1]);
    if (command == u"run" && count >= 2) {
        std::vector<std::string> more;
        std::ranges::transform(given.subspan(2), std::back_inserter(more), EncodeUtf8);
        return Run(given[0], given[1], std::move(more));
    }
    if (command == u"mark" && count == 2)
        return Mark(given[0], given[1]);
    if (command == u"clean" && count == 1)
        return Clean(given[0]);
    if (command == u"compare" && count == 6)
        return Compare(given[0], given[1], given[2], given[3], EncodeUtf8(given[4]),
                       EncodeUtf8(given[5]));
    std::cerr << "usage: proof prepare IMAGE WORK\n"
                 "       proof run IMAGE PROGRAM [ARGUMENT...]\n"
                 "       proof mark IMAGE COLLECTED\n"
                 "       proof clean IMAGE\n"
                 "       proof compare IMAGE BEFORE EXPECTED AFTER STATUS STATUS\n";
    return 64;
}

}  // namespace

int platform::ProgramMain(std::span<const std::u16string> arguments) {
    try {
        return UseCommandLine(arguments);
    } catch (const std::exception& error) {
        std::cerr << "proof: " << error.what() << "\n";
        return 70;
    }
}
