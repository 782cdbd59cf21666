#include "image/image.h"

#include "image/host_path.h"
#include "image/image_error.h"
#include "image/machine_ini.h"
#include "image/reg_file.h"
#include "image/text_file.h"
#include "platform/simulated/texts/unicode.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>

namespace image {

namespace fs = std::filesystem;

namespace {

using platform::simulated::DecodeUtf8;
using platform::simulated::Drive;
using platform::simulated::EncodeUtf8;
using platform::simulated::FileNode;
using platform::simulated::FoldCase;
using platform::simulated::Machine;

constexpr const char* kMachineIni = "machine.ini";
constexpr const char* kRegistry = "registry.reg";
constexpr const char* kArguments = "args.txt";
constexpr const char* kDriveC = "C";

std::vector<std::u16string> ReadArguments(const fs::path& path) {
    const std::u16string text = DecodeText(ShowPath(path), ReadBytes(path));
    std::vector<std::u16string> arguments;
    std::u16string_view rest = text;
    while (!rest.empty()) {
        std::u16string_view line = rest.substr(0, rest.find(u'\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (line.ends_with(u'\r'))
            line.remove_suffix(1);
        arguments.emplace_back(line);
    }
    return arguments;
}

/// The Windows name of a file of the host.
std::u16string DecodeFileName(const fs::path& path) {
    const std::u8string bytes = path.filename().u8string();
    const auto name = DecodeUtf8(std::string(bytes.begin(), bytes.end()));
    if (!name)
        throw ImageError(ShowPath(path), 0, "the file name is not UTF-8");
    if (!platform::simulated::IsPossibleFileName(*name))
        throw ImageError(ShowPath(path), 0, "the file name is none that Windows can have");
    return *name;
}

/// The registry exports of the image, in name order without regard to case.
std::vector<fs::path> FindRegFiles(const fs::path& folder) {
    std::vector<std::pair<std::u16string, fs::path>> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string extension = ShowPath(entry.path().extension());
        if (FoldCase(DecodeUtf8(extension).value_or(u"")) == u".REG")
            found.emplace_back(FoldCase(DecodeFileName(entry.path())), entry.path());
    }
    std::sort(found.begin(), found.end());
    std::vector<fs::path> paths(found.size());
    std::transform(found.begin(), found.end(), paths.begin(),
                   [](const auto& file) { return file.second; });
    return paths;
}

/// Whether something has this path, if only a link that leads nowhere.
bool IsThere(const fs::path& path) {
    return fs::exists(fs::symlink_status(path));
}

FileNode DescribeFile(const fs::directory_entry& entry) {
    FileNode node;
    node.isDirectory = false;
    node.size = entry.file_size();
    node.hostFile = entry.path().native();
    node.isReadOnly = (entry.status().permissions() & fs::perms::owner_write) == fs::perms::none;
    return node;
}

/// Loads what lies below a folder of the host into the directory `path` of the drive.
void LoadDirectory(const fs::path& folder, const std::u16string& path, Drive& drive) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::u16string inner = path + u"\\" + DecodeFileName(entry.path());
        if (drive.GetNodes().Find(inner) != nullptr)
            throw ImageError(ShowPath(entry.path()), 0,
                             "a second name that differs in letter case only");
        if (entry.is_symlink())
            throw ImageError(ShowPath(entry.path()), 0, "a symbolic link");
        if (entry.is_directory()) {
            drive.AddDirectory(inner);
            LoadDirectory(entry.path(), inner, drive);
        } else if (entry.is_regular_file()) {
            drive.AddFile(inner, {}) = DescribeFile(entry);
        } else {
            throw ImageError(ShowPath(entry.path()), 0, "neither a file nor a folder");
        }
    }
}

[[noreturn]] void ThrowCannotWrite(const fs::path& path) {
    throw fs::filesystem_error("cannot write", path,
                               std::error_code(errno, std::generic_category()));
}

void WriteBytes(const fs::path& path, std::string_view bytes) {
    errno = 0;
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file)
        ThrowCannotWrite(path);
}

/// The folders that writing to `target` makes, by the one above all others; empty if it is there.
fs::path FindFirstMissing(const fs::path& target) {
    fs::path missing;
    for (fs::path path = fs::absolute(target); !fs::exists(path); path = path.parent_path())
        missing = path;
    return missing;
}

/// Takes away what was written to `target`, an empty folder or below `missing` before. What cannot
/// be taken away stays.
void TakeAway(const fs::path& target, const fs::path& missing) {
    std::error_code ignored;
    if (!missing.empty()) {
        fs::remove_all(missing, ignored);
        return;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(target, ignored))
        fs::remove_all(entry.path(), ignored);
}

void CopyIfThere(const fs::path& from, const fs::path& to) {
    if (fs::exists(from))
        fs::copy_file(from, to);
}

/// Where a file or folder of the drive lies in an image.
fs::path MakeHostPath(const fs::path& target, std::u16string_view path) {
    constexpr std::u16string_view kRoot = u"C:";
    std::u16string inner(path.substr(kRoot.size()));
    std::replace(inner.begin(), inner.end(), u'\\', u'/');
    const std::string name = kDriveC + EncodeUtf8(inner);
    return target / MakePath(name);
}

void WriteDrive(const Drive& drive, const fs::path& target) {
    drive.GetNodes().Walk([&](const std::u16string& drivePath, const FileNode& node) {
        const fs::path path = MakeHostPath(target, drivePath);
        if (node.reading)
            return;
        if (node.isDirectory)
            fs::create_directory(path);
        else if (!node.hostFile.empty())
            fs::copy_file(node.hostFile, path);
        else
            WriteBytes(path, node.bytes);
    });
}

/// Writes the bytes of a file as the reader gives them; false, and no file, if it does not.
bool WriteContent(const std::u16string& path, const ContentReader& reader,
                  const fs::path& hostPath) {
    errno = 0;
    std::ofstream file(hostPath, std::ios::binary);
    const bool isRead = reader(path, [&](std::string_view bytes) {
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    });
    file.close();
    if (!file)
        ThrowCannotWrite(hostPath);
    if (!isRead)
        fs::remove(hostPath);
    return isRead;
}

/// Writes the packages whose bytes the reader can give, which then are packages like any other.
void WritePackages(Drive& drive, const ContentReader& reader, const fs::path& target) {
    const Drive::Nodes nodes = drive.GetNodes();
    nodes.Walk([&](const std::u16string& path, const FileNode& node) {
        // The host's file could not have a name that UTF-8 cannot hold.
        if (node.reading && DecodeUtf8(EncodeUtf8(path)) == path &&
            WriteContent(path, reader, MakeHostPath(target, path)))
            drive.FindToChange(path)->reading.reset();
    });
}

/// Makes the files read-only that are so on the drive. Behind all that may fail, since such a file
/// could not be taken away everywhere.
void ProtectFiles(const Drive& drive, const fs::path& target) {
    drive.GetNodes().Walk([&](const std::u16string& path, const FileNode& node) {
        if (node.isReadOnly && !node.reading)
            fs::permissions(MakeHostPath(target, path), fs::perms::owner_write,
                            fs::perm_options::remove);
    });
}

std::string FormatArguments(const std::vector<std::u16string>& arguments) {
    std::string text;
    for (const std::u16string& argument : arguments)
        text += EncodeUtf8(argument) + "\n";
    return text;
}

/// Has `write` write to `target`, and takes away what it did if it fails.
template <typename Write>
void WriteOrTakeAway(const fs::path& target, Write write) {
    const fs::path missing = FindFirstMissing(target);
    try {
        fs::create_directories(target);
        write();
    } catch (...) {
        TakeAway(target, missing);
        throw;
    }
}

/// Writes all parts, each as WriteImage says.
void WriteParts(const Machine& machine, const fs::path& source, const fs::path& target) {
    const fs::path sourceIni = source / kMachineIni;
    const bool hasIni = fs::exists(sourceIni);
    const std::string ini = RewritePackages(hasIni ? ReadBytes(sourceIni) : "", machine.drive);
    if (hasIni || !ini.empty())
        WriteBytes(target / kMachineIni, ini);
    CopyIfThere(source / kArguments, target / kArguments);
    WriteBytes(target / kRegistry, FormatRegFile(machine.registry));
    WriteDrive(machine.drive, target);
}

}  // namespace

Image ReadImage(const fs::path& folder) {
    Image image;
    try {
        if (!fs::is_directory(folder))
            throw ImageError(ShowPath(folder), 0, "not a folder");
        // In front of machine.ini, which may not name a package that is there.
        if (const fs::path path = folder / kDriveC; IsThere(path))
            LoadDirectory(path, u"C:", image.machine.drive);
        if (const fs::path path = folder / kMachineIni; IsThere(path))
            ReadMachineIni(ShowPath(path), ReadBytes(path), image.machine);
        for (const fs::path& path : FindRegFiles(folder))
            ReadRegFile(ShowPath(path), ReadBytes(path), image.machine.process.account,
                        image.machine.registry);
        if (const fs::path path = folder / kArguments; IsThere(path))
            image.arguments = ReadArguments(path);
    } catch (const fs::filesystem_error& error) {
        throw ImageError(ShowPath(error.path1()), 0, error.code().message());
    }
    return image;
}

void WriteImage(const Machine& machine, const fs::path& source, const fs::path& target) {
    WriteOrTakeAway(target, [&] { WriteParts(machine, source, target); });
}

void WriteNewImage(Image image, bool hasArguments, const fs::path& target,
                   const ContentReader& reader) {
    Machine& machine = image.machine;
    WriteOrTakeAway(target, [&] {
        WriteDrive(machine.drive, target);
        if (reader)
            WritePackages(machine.drive, reader, target);
        WriteBytes(target / kRegistry, FormatRegFile(machine.registry));
        if (hasArguments)
            WriteBytes(target / kArguments, FormatArguments(image.arguments));
        WriteBytes(target / kMachineIni, FormatMachineIni(machine));
        ProtectFiles(machine.drive, target);
    });
}

void TryTarget(const fs::path& target) {
    const fs::path missing = FindFirstMissing(target);
    WriteOrTakeAway(target, [&] { WriteBytes(target / kMachineIni, {}); });
    TakeAway(target, missing);
}

}  // namespace image
