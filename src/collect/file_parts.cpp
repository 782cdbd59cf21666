#include "collect/file_parts.h"

#include "cleanup/package_removal.h"
#include "inventory/package_metadata.h"
#include "log/run_log.h"
#include "platform/file_search.h"
#include "platform/process_closers.h"
#include "platform/simulated/machine/full_path.h"
#include "platform/simulated/machine/installer_tree.h"
#include "platform/wide_text.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace collect {

namespace {

using platform::DWORD;
using platform::Handle;
using platform::HANDLE;
using platform::simulated::FileNode;
using platform::simulated::PackageReading;

/// Something that a search found.
struct FoundEntry {
    std::u16string path;
    DWORD attributes = 0;
    std::uint64_t size = 0;
};

bool IsFolder(DWORD attributes) {
    return (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool MeansMissing(DWORD error) {
    return error == platform::ERROR_FILE_NOT_FOUND || error == platform::ERROR_PATH_NOT_FOUND;
}

FoundEntry MakeEntry(std::u16string path, const platform::WIN32_FIND_DATAW& found) {
    return {std::move(path), found.dwFileAttributes,
            std::uint64_t{found.nFileSizeHigh} << 32U | found.nFileSizeLow};
}

/// Everything in a folder (with a backslash at its end) that a pattern fits.
std::vector<FoundEntry> Find(Collected& collected, std::u16string_view folder,
                             std::u16string_view pattern) {
    std::vector<FoundEntry> entries;
    const std::u16string whole = std::u16string(folder).append(pattern);
    platform::WIN32_FIND_DATAW found{};
    const HANDLE opened = platform::FindFirstFileW(whole.c_str(), &found);
    if (opened == platform::INVALID_HANDLE_VALUE) {
        if (const DWORD error = platform::GetLastError(); !MeansMissing(error))
            NoteGap(collected, "the folder for", whole, error);
        return entries;
    }
    const platform::FileSearch search(opened);
    do {
        entries.push_back(
            MakeEntry(std::u16string(folder).append(platform::ReadBuffer(found.cFileName)), found));
    } while (platform::FindNextFileW(search.get(), &found) != 0);
    if (const DWORD error = platform::GetLastError(); error != platform::ERROR_NO_MORE_FILES)
        NoteGap(collected, "all of the folder for", whole, error);
    return entries;
}

/// The attributes of a file or folder; nothing if it is missing or cannot be asked for them, which
/// is noted.
std::optional<DWORD> ReadAttributes(Collected& collected, const std::u16string& path) {
    const DWORD attributes = platform::GetFileAttributesW(path.c_str());
    if (attributes != platform::INVALID_FILE_ATTRIBUTES)
        return attributes;
    if (const DWORD error = platform::GetLastError(); !MeansMissing(error))
        NoteGap(collected, "the attributes of", path, error);
    return std::nullopt;
}

Handle OpenForReading(const std::u16string& path) {
    const HANDLE opened = platform::CreateFileW(
        path.c_str(), platform::GENERIC_READ,
        platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE,
        nullptr, platform::OPEN_EXISTING, 0, nullptr);
    return Handle(opened == platform::INVALID_HANDLE_VALUE ? nullptr : opened);
}

/// Puts a file on the collected drive.
FileNode& AddFile(Collected& collected, const FoundEntry& entry, std::string bytes) {
    FileNode& node = collected.machine.drive.AddFile(entry.path, std::move(bytes));
    node.isReadOnly = (entry.attributes & platform::FILE_ATTRIBUTE_READONLY) != 0;
    node.otherAttributes = entry.attributes & ~platform::FILE_ATTRIBUTE_READONLY;
    return node;
}

/// Whether an image can hold something of this path.
bool IsImagePath(const std::u16string& path) {
    return platform::simulated::ResolvePath(path) == path &&
           platform::simulated::IsPossibleFileName(platform::GetFileName(path));
}

void TakePackage(Collected& collected, const FoundEntry& entry) {
    if (!IsImagePath(entry.path)) {
        NoteGap(collected, "the package of a name that no image can hold,", entry.path, 0);
        return;
    }
    if (IsFolder(entry.attributes)) {
        collected.machine.drive.AddDirectory(entry.path);
        return;
    }
    const PackageReading reading = ReadPackage(entry.path);
    // What Windows Installer cannot open may be no package; what cannot be opened at all may be.
    if (reading.failedStep == PackageReading::Step::Open && !OpenForReading(entry.path))
        NoteGap(collected, "the package", entry.path, platform::GetLastError());
    FileNode& node = AddFile(collected, entry, {});
    node.size = entry.size;
    node.reading = reading;
}

/// The paths of linked packages that a run would look for: those that begin as if they lay in the
/// cache folder.
std::vector<std::u16string> ListLinkedPaths(const platform::simulated::Registry& registry) {
    const std::u16string patches = std::u16string(platform::simulated::kUserDataKey) + u"\\" +
                                   std::u16string(platform::simulated::kMachineAccount) +
                                   u"\\Patches";
    std::vector<std::u16string> paths;
    for (const std::u16string& patch : registry.GetKeys().GetNames(patches)) {
        const auto* value = registry.FindValue(std::u16string(patches).append(u"\\").append(patch),
                                               u"LocalPackage");
        if (value == nullptr || value->type != platform::REG_SZ)
            continue;
        std::u16string path = platform::simulated::GetText(value->data);
        if (saltrove::IsInInstallerCache(path))
            paths.push_back(std::move(path));
    }
    return paths;
}

/// The linked packages of which a run would find that they are there although a search of the cache
/// folder does not deliver them.
std::vector<FoundEntry> FindOtherLinkedPackages(Collected& collected,
                                                const std::vector<FoundEntry>& cache) {
    platform::simulated::Drive known;
    for (const FoundEntry& entry : cache)
        known.AddFile(entry.path, {});
    std::vector<FoundEntry> others;
    for (const std::u16string& path : ListLinkedPaths(collected.machine.registry)) {
        const auto resolved = platform::simulated::ResolvePath(path);
        if (!resolved || known.Find(*resolved) != nullptr || !IsImagePath(*resolved) ||
            !ReadAttributes(collected, *resolved))
            continue;
        const std::size_t name = resolved->size() - platform::GetFileName(*resolved).size();
        for (FoundEntry& entry : Find(collected, resolved->substr(0, name), resolved->substr(name)))
            others.push_back(std::move(entry));
        known.AddFile(*resolved, {});
    }
    return others;
}

/// Takes a folder without what is in it, or a file in its place; whether it is a folder.
bool TakeFolder(Collected& collected, std::u16string_view path) {
    const std::u16string folder(path);
    const std::optional<DWORD> attributes = ReadAttributes(collected, folder);
    if (!attributes)
        return false;
    if (IsFolder(*attributes))
        collected.machine.drive.AddDirectory(folder);
    else
        AddFile(collected, {folder, *attributes, 0}, {});
    return IsFolder(*attributes);
}

/// Reads on from where the file stands; false if that fails.
bool ReadOn(const Handle& file, const std::function<void(std::string_view)>& take) {
    constexpr DWORD kPieceSize = 64 * 1024;
    std::string piece(kPieceSize, '\0');
    for (DWORD size = 0;;) {
        if (platform::ReadFile(file.get(), piece.data(), kPieceSize, &size, nullptr) == 0)
            return false;
        if (size == 0)
            return true;
        take(std::string_view(piece).substr(0, size));
    }
}

/// The end of a text file, from a line's beginning; empty if it cannot be read, which is noted.
std::string ReadEnd(Collected& collected, const FoundEntry& entry) {
    constexpr std::uint64_t kMostBytes = 65'536;
    const Handle file = OpenForReading(entry.path);
    const std::uint64_t start = entry.size - std::min(entry.size, kMostBytes);
    std::string bytes;
    if (!file ||
        platform::SetFilePointerEx(file.get(), {static_cast<std::int64_t>(start)}, nullptr,
                                   platform::FILE_BEGIN) == 0 ||
        !ReadOn(file, [&](std::string_view piece) { bytes += piece; })) {
        NoteGap(collected, "the end of", entry.path, platform::GetLastError());
        return {};
    }
    const std::size_t lineEnd = bytes.find('\n');
    return start == 0 || lineEnd == std::string::npos ? bytes : bytes.substr(lineEnd + 1);
}

}  // namespace

PackageReading ReadPackage(const std::u16string& path) {
    std::optional<saltrove::PackageFailure> failure;
    PackageReading reading;
    reading.description = saltrove::GetDescriptionFromMsp(path, &failure);
    if (!failure)
        return reading;
    reading.error = failure->error;
    switch (failure->step) {
    case saltrove::PackageStep::Open:
        reading.failedStep = PackageReading::Step::Open;
        break;
    case saltrove::PackageStep::Query:
        reading.failedStep = PackageReading::Step::Query;
        break;
    case saltrove::PackageStep::Execute:
        reading.failedStep = PackageReading::Step::Execute;
        break;
    }
    return reading;
}

void CollectPackages(Collected& collected, Progress& progress) {
    constexpr std::u16string_view kFolder =
        saltrove::kInstallerCache.substr(0, saltrove::kInstallerCache.size() - 1);
    std::vector<FoundEntry> entries;
    if (TakeFolder(collected, kFolder))
        entries = Find(collected, saltrove::kInstallerCache, u"*.msp");
    for (FoundEntry& other : FindOtherLinkedPackages(collected, entries))
        entries.push_back(std::move(other));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        progress.Tell("packages read", i, entries.size());
        TakePackage(collected, entries[i]);
    }
}

void CollectRunLog(Collected& collected) {
    if (!TakeFolder(collected, saltrove::kRunLogFolder))
        return;
    const std::size_t name =
        saltrove::kRunLogPath.size() - platform::GetFileName(saltrove::kRunLogPath).size();
    for (const FoundEntry& entry : Find(collected, saltrove::kRunLogPath.substr(0, name),
                                        saltrove::kRunLogPath.substr(name))) {
        if (IsFolder(entry.attributes)) {
            collected.machine.drive.AddDirectory(entry.path);
            continue;
        }
        AddFile(collected, entry, ReadEnd(collected, entry));
    }
}

bool CopyFile(Collected& collected, const std::u16string& path,
              const std::function<void(std::string_view)>& take) {
    const Handle file = OpenForReading(path);
    if (file && ReadOn(file, take))
        return true;
    NoteGap(collected, "the bytes of", path, platform::GetLastError());
    return false;
}

}  // namespace collect
