#include "platform/simulated/machine/drive.h"

#include "platform/files.h"
#include "platform/simulated/machine/full_path.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <system_error>
#include <utility>

namespace platform::simulated {

namespace {

constexpr std::u16string_view kRoot = u"C:";

}  // namespace

Drive::Drive() {
    nodes_.Insert(kRoot);
}

const FileNode* Drive::Find(std::u16string_view path) const {
    const std::optional<std::u16string> resolved = ResolvePath(path);
    return resolved ? nodes_.Find(*resolved) : nullptr;
}

FileNode* Drive::FindToChange(std::u16string_view path) {
    const std::optional<std::u16string> resolved = ResolvePath(path);
    return resolved ? nodes_.FindToChange(*resolved) : nullptr;
}

const FileNode* Drive::FindParent(std::u16string_view path) const {
    const std::optional<std::u16string> resolved = ResolvePath(path);
    if (!resolved)
        return nullptr;
    const std::size_t backslash = std::min(resolved->rfind(u'\\'), resolved->size());
    return nodes_.Find(std::u16string_view(*resolved).substr(0, backslash));
}

void Drive::AddDirectory(std::u16string_view path) {
    nodes_.Insert(path);
}

FileNode& Drive::AddFile(std::u16string_view path, std::string bytes) {
    FileNode& node = nodes_.Insert(path);
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

bool IsPossibleFileName(std::u16string_view name) {
    const bool hasControl =
        std::any_of(name.begin(), name.end(), [](char16_t character) { return character < 0x20; });
    return !name.empty() && !hasControl &&
           name.find_first_of(u"\\/:*?\"<>|") == std::u16string_view::npos &&
           !name.ends_with(u'.') && !name.ends_with(u' ');
}

std::uint32_t GetAttributes(const FileNode& node) {
    const DWORD kind = node.isDirectory ? FILE_ATTRIBUTE_DIRECTORY : node.otherAttributes;
    return kind | (node.isReadOnly ? FILE_ATTRIBUTE_READONLY : 0);
}

std::string ReadHostFile(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status) && std::filesystem::is_symlink(path, error))
        throw HostFileError(path, "a link to nothing");
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw HostFileError(path, "not a file that can be read");
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    const std::uintmax_t size = file ? std::filesystem::file_size(path, error) : 0;
    std::string content(size, '\0');
    if (!error)
        file.read(content.data(), static_cast<std::streamsize>(size));
    if (!file || error)
        throw HostFileError(path, errno != 0 ? std::generic_category().message(errno)
                                             : "not a file that can be read");
    return content;
}

std::string ReadContent(const FileNode& node) {
    return node.hostFile.empty() ? node.bytes : ReadHostFile(node.hostFile);
}

}  // namespace platform::simulated
