#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::simulated {

/// The class of a storage, in the byte order of the file.
using ClassId = std::array<unsigned char, 16>;

/// An OLE compound file: a file of sectors that holds named streams, as the public format
/// description [MS-CFB] has it, versions 3 and 4. Only the streams right below the root are known.
///
/// Nothing in a file is believed. Whatever its bytes are, opening and reading end, and need no more
/// memory than a small multiple of the file's size.
class CompoundFile {
  public:
    /// Opens a file that is held in memory; nothing if it is no compound file or its sector tables
    /// or its directory are damaged.
    [[nodiscard]] static std::optional<CompoundFile> Open(std::string bytes);

    [[nodiscard]] const ClassId& GetRootClass() const {
        return rootClass_;
    }

    [[nodiscard]] bool HasStream(const std::u16string& name) const {
        return streams_.contains(name);
    }

    /// The content of the stream with just this name; nothing if there is none or its chain of
    /// sectors loops, leads outside the file, or is shorter than the stream's size.
    [[nodiscard]] std::optional<std::string> ReadStream(const std::u16string& name) const;

  private:
    struct Stream {
        std::uint32_t start = 0;
        std::uint64_t size = 0;
    };

    CompoundFile() = default;

    bool ReadHeader();
    bool ReadFat();
    bool ReadDirectory();
    bool ReadStreamEntries(const std::string& directory, std::uint32_t firstChild);
    bool ReadMiniStream(const Stream& root);

    [[nodiscard]] std::optional<std::string_view> GetSector(std::uint32_t number) const;
    [[nodiscard]] std::optional<std::string> ReadChain(std::uint32_t start) const;
    [[nodiscard]] std::optional<std::string> ReadMiniChain(const Stream& stream) const;

    std::string bytes_;
    std::size_t sectorSize_ = 0;
    std::uint32_t firstDirectorySector_ = 0;
    std::uint32_t firstMiniFatSector_ = 0;
    ClassId rootClass_{};
    std::vector<std::uint32_t> fat_;
    std::vector<std::uint32_t> miniFat_;
    std::string miniStream_;
    std::map<std::u16string, Stream> streams_;
};

}  // namespace platform::simulated
