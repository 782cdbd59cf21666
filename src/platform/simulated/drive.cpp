#include "platform/simulated/drive.h"

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

/// Adds one name to a path, or takes one away for "..". The drive cannot be left.
void Descend(std::u16string& path, std::u16string_view name) {
    if (name == u"..") {
        const std::size_t backslash = path.rfind(u'\\');
        if (backslash != std::u16string::npos)
            path.resize(backslash);
        return;
    }
    const std::size_t last = name.find_last_not_of(u". ");
    if (last != std::u16string_view::npos)
        path.append(u"\\").append(name.substr(0, last + 1));
}

/// Goes down from `folder`, which begins with a drive, by all the names of a path.
std::u16string DescendAll(std::u16string folder, std::u16string_view path) {
    while (!path.empty()) {
        const auto end = std::find_if(path.begin(), path.end(), IsSeparator);
        const auto length = static_cast<std::size_t>(end - path.begin());
        Descend(folder, path.substr(0, length));
        path.remove_prefix(std::min(length + 1, path.size()));
    }
    return folder;
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

std::uint32_t AttributesOf(const FileNode& node) {
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

std::u16string FullPath(std::u16string_view path, const std::u16string& currentDirectory) {
    std::u16string full;
    if (BeginsWithDrive(path))
        full = DescendAll(std::u16string(path.substr(0, 2)), path.substr(2));
    else if (!path.empty() && IsSeparator(path.front()))
        full = DescendAll(currentDirectory.substr(0, 2), path);
    else
        full = DescendAll(currentDirectory, path);
    const bool endsInSeparator = !path.empty() && IsSeparator(path.back());
    return endsInSeparator || full.size() == 2 ? full + u"\\" : full;
}

}  // namespace platform::simulated
