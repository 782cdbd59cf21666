#pragma once

#include "platform/simulated/machine/caseless_tree.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace platform::simulated {

/// What opening a package and asking for its description gave on the machine that it comes from.
struct PackageReading {
    enum class Step { None, Open, Query, Execute };
    Step failedStep = Step::None;
    std::uint32_t error = 0;     ///< of the step that failed
    std::u16string description;  ///< empty: the package has no such row
};

/// A file or a directory of the simulated drive. The content of a file is either in `bytes` or,
/// until something writes to the file, in a file of the host, so that a large image need not be in
/// memory; or it is a package of which only `reading` and `size` are known.
struct FileNode {
    bool isDirectory = true;
    bool isReadOnly = false;
    std::uint32_t otherAttributes = 0x20;  ///< of a file: its other attribute bits; "archive"
    std::uintmax_t size = 0;
    std::filesystem::path::string_type hostFile;  ///< its path; empty if the content is in `bytes`
    std::string bytes;
    std::optional<PackageReading> reading;
};

/// Drive C: of a simulated machine.
class Drive {
  public:
    using Nodes = CaselessTree<FileNode>;

    Drive();

    /// The node at an absolute path such as `C:\Windows`, in the forms that Windows takes: slashes
    /// for backslashes, "." and "..", blanks and dots at the end of a name. Null if there is none.
    [[nodiscard]] const FileNode* Find(std::u16string_view path) const;
    /// The same node, to be changed.
    [[nodiscard]] FileNode* FindToChange(std::u16string_view path);
    /// The node of the directory in which a path lies, whether or not there is something at the
    /// path.
    [[nodiscard]] const FileNode* FindParent(std::u16string_view path) const;

    /// Makes the directory at `path`, and its parents.
    void AddDirectory(std::u16string_view path);
    /// Makes the file at `path`, and its parents, with a content in memory.
    FileNode& AddFile(std::u16string_view path, std::string bytes);
    /// Removes the node at `path` and all below it.
    void Remove(std::u16string_view path);

    /// All nodes, from `C:` on.
    [[nodiscard]] const Nodes& GetNodes() const {
        return nodes_;
    }

  private:
    Nodes nodes_;
};

/// Whether Windows could have a file or folder of this name.
[[nodiscard]] bool IsPossibleFileName(std::u16string_view name);

/// The attribute bits of a file or directory, as Windows' calls give them.
[[nodiscard]] std::uint32_t GetAttributes(const FileNode& node);

/// Why a file of the host cannot be read: a fault of the host, which no call of the machine may
/// take for an answer of its own. `what()` is the reason, such as "Permission denied".
class HostFileError : public std::runtime_error {
  public:
    HostFileError(std::filesystem::path file, const std::string& reason)
        : std::runtime_error(reason), path(std::move(file)) {}

    std::filesystem::path path;
};

/// The bytes of a file of the host. Throws HostFileError if it is no file or cannot be read.
[[nodiscard]] std::string ReadHostFile(const std::filesystem::path& path);

/// The whole content of a file, wherever it lies; empty for a file known by its reading alone.
/// Throws HostFileError if it is a file of the host which cannot be read.
[[nodiscard]] std::string ReadContent(const FileNode& node);

}  // namespace platform::simulated
