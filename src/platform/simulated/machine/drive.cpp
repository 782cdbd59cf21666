#include "platform/simulated/machine/drive.h"

#include "platform/files.h"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>

namespace platform::simulated {

namespace {

constexpr std::u16string_view kRoot = u"C:";

bool IsSeparator(char16_t character) {
    return character == u'\\' || character == u'/';
}

/// The name in the form in which Windows looks for it: of the last one in a path all blanks and
/// dots at its end go, of the others a single dot.
std::u16string_view TrimName(std::u16string_view name, bool isLast) {
    if (isLast)
        return name.substr(0, name.find_last_not_of(u". ") + 1);
    const bool endsInDot = name.ends_with(u'.') && !name.ends_with(u"..");
    return endsInDot ? name.substr(0, name.size() - 1) : name;
}

/// Goes down from `root` by all the names of a path, and up for "..", but never above the root.
std::u16string DescendAll(const std::u16string& root, std::u16string_view path) {
    std::u16string full = root;
    while (!path.empty()) {
        const auto end = std::find_if(path.begin(), path.end(), IsSeparator);
        const std::u16string_view name =
            path.substr(0, static_cast<std::size_t>(end - path.begin()));
        path.remove_prefix(name.size());
        const bool isLast = path.empty();
        path.remove_prefix(std::min<std::size_t>(1, path.size()));
        if (name == u"..")
            full.resize(std::max(root.size(), std::min(full.rfind(u'\\'), full.size())));
        else if (const std::u16string_view trimmed = TrimName(name, isLast); !trimmed.empty())
            full.append(u"\\").append(trimmed);
    }
    return full;
}

bool BeginsWithDrive(std::u16string_view path) {
    return path.size() >= 3 && path[1] == u':' && IsSeparator(path[2]);
}

}  // namespace

Drive::Drive() {
    nodes_.Insert(kRoot);
}

const FileNode* Drive::Find(std::u16string_view path) const {
    const std::optional<std::u16string> resolved = ResolvePath(path);
    const Nodes::Entry* entry = resolved ? nodes_.Find(*resolved) : nullptr;
    return entry == nullptr ? nullptr : &entry->content;
}

FileNode* Drive::Find(std::u16string_view path) {
    return const_cast<FileNode*>(std::as_const(*this).Find(path));
}

const FileNode* Drive::FindParent(std::u16string_view path) const {
    const std::optional<std::u16string> resolved = ResolvePath(path);
    if (!resolved)
        return nullptr;
    const std::size_t backslash = std::min(resolved->rfind(u'\\'), resolved->size());
    const Nodes::Entry* entry = nodes_.Find(std::u16string_view(*resolved).substr(0, backslash));
    return entry == nullptr ? nullptr : &entry->content;
}

void Drive::AddDirectory(std::u16string_view path) {
    nodes_.Insert(path);
}

FileNode& Drive::AddFile(std::u16string_view path, std::string bytes) {
    FileNode& node = nodes_.Insert(path).content;
    node = FileNode();
    node.isDirectory = false;
    node.size = bytes.size();
    node.bytes = std::move(bytes);
    return node;
}

void Drive::Remove(std::u16string_view path) {
    if (const std::optional<std::u16string> resolved = ResolvePath(path))
        nodes_.Remove(*resolved);
}

std::uint32_t GetAttributes(const FileNode& node) {
    const DWORD kind = node.isDirectory ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
    return kind | (node.isReadOnly ? FILE_ATTRIBUTE_READONLY : 0);
}

std::optional<std::string> ReadHostFile(const std::filesystem::path& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error)
        return std::nullopt;
    std::string content(size, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(content.data(), static_cast<std::streamsize>(size));
    return file ? std::optional(std::move(content)) : std::nullopt;
}

std::optional<std::string> ReadContent(const FileNode& node) {
    return node.hostFile.empty() ? node.bytes : ReadHostFile(node.hostFile);
}

std::optional<std::u16string> ResolvePath(std::u16string_view path) {
    if (!BeginsWithDrive(path) || ToUpper(path[0]) != kRoot[0] || path.size() >= MAX_PATH)
        return std::nullopt;
    return DescendAll(std::u16string(kRoot), path.substr(kRoot.size()));
}

std::u16string MakeFullPath(std::u16string_view path, const std::u16string& currentDirectory) {
    std::u16string full;
    if (BeginsWithDrive(path))
        full = DescendAll(std::u16string(path.substr(0, 2)), path.substr(2));
    else if (path.size() > 1 && IsSeparator(path[0]) && IsSeparator(path[1]))
        full = DescendAll(u"\\", path.substr(2));  // a server's name is the first behind it
    else if (!path.empty() && IsSeparator(path.front()))
        full = DescendAll(currentDirectory.substr(0, 2), path);
    else
        full = DescendAll(currentDirectory.substr(0, 2),
                          currentDirectory.substr(2) + u"\\" + std::u16string(path));
    const bool endsInSeparator = !path.empty() && IsSeparator(path.back());
    return endsInSeparator || full.size() == 2 ? full + u"\\" : full;
}

}  // namespace platform::simulated
