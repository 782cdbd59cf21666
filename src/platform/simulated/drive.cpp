#include "platform/simulated/drive.h"

#include <fstream>
#include <iterator>

namespace platform::simulated {

namespace {

constexpr std::u16string_view kRoot = u"C:";
constexpr std::size_t kMaxPath = 260;

bool IsSeparator(char16_t character) {
    return character == u'\\' || character == u'/';
}

/// Adds one name to a resolved path, or takes one away for "..". The root cannot be left.
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

std::optional<std::string> ReadContent(const FileNode& node) {
    if (node.hostFile.empty())
        return node.bytes;
    std::ifstream file(node.hostFile, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.good() && !file.eof())
        return std::nullopt;
    return content;
}

std::optional<std::u16string> ResolvePath(std::u16string_view path) {
    const bool isOnDriveC =
        path.size() >= 3 && ToUpper(path[0]) == kRoot[0] && path[1] == u':' && IsSeparator(path[2]);
    if (!isOnDriveC || path.size() >= kMaxPath)
        return std::nullopt;
    std::u16string resolved(kRoot);
    std::size_t start = kRoot.size() + 1;
    while (start <= path.size()) {
        std::size_t end = start;
        while (end < path.size() && !IsSeparator(path[end]))
            ++end;
        Descend(resolved, path.substr(start, end - start));
        start = end + 1;
    }
    return resolved;
}

}  // namespace platform::simulated
