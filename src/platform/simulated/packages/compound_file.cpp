#include "platform/simulated/packages/compound_file.h"

#include "platform/simulated/packages/little_endian.h"

#include <algorithm>
#include <utility>

namespace platform::simulated {

namespace {

constexpr std::string_view kSignature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kDifatInHeader = 76;
constexpr std::size_t kDifatEntriesInHeader = 109;
constexpr std::size_t kDirectoryEntrySize = 128;
constexpr std::size_t kMiniSectorSize = 64;
constexpr std::uint32_t kMiniStreamCutoff = 4096;

constexpr std::uint32_t kHighestSector = 0xFFFFFFFA;
constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;

constexpr unsigned char kStreamEntry = 2;
constexpr unsigned char kRootEntry = 5;

/// Appends the numbers of a table of sector numbers.
void AppendNumbers(std::string_view sector, std::vector<std::uint32_t>& numbers) {
    for (std::size_t i = 0; i + 4 <= sector.size(); i += 4)
        numbers.push_back(ReadU32(sector, i));
}

/// The name in a directory entry; its length is in bytes and counts the terminator.
std::u16string ReadEntryName(std::string_view entry) {
    const std::size_t length = std::min<std::size_t>(ReadU16(entry, 64), 64) / 2;
    std::u16string name;
    for (std::size_t i = 0; i + 1 < length; ++i)
        name.push_back(ReadU16(entry, 2 * i));
    return name;
}

}  // namespace

std::optional<CompoundFile> CompoundFile::Open(std::string bytes) {
    CompoundFile file;
    file.bytes_ = std::move(bytes);
    if (!file.ReadHeader() || !file.ReadFat() || !file.ReadDirectory())
        return std::nullopt;
    return file;
}

std::optional<std::string> CompoundFile::ReadStream(const std::u16string& name) const {
    const auto found = streams_.find(name);
    if (found == streams_.end())
        return std::nullopt;
    const Stream& stream = found->second;
    std::optional<std::string> content =
        stream.size < kMiniStreamCutoff ? ReadMiniChain(stream) : ReadChain(stream.start);
    if (!content || content->size() < stream.size)
        return std::nullopt;
    content->resize(stream.size);
    return content;
}

bool CompoundFile::ReadHeader() {
    if (bytes_.size() < kHeaderSize || !bytes_.starts_with(kSignature))
        return false;
    const std::uint16_t version = ReadU16(bytes_, 26);
    const std::uint16_t sectorShift = ReadU16(bytes_, 30);
    const bool isKnownVersion =
        (version == 3 && sectorShift == 9) || (version == 4 && sectorShift == 12);
    if (!isKnownVersion || ReadU16(bytes_, 28) != 0xFFFE || ReadU16(bytes_, 32) != 6 ||
        ReadU32(bytes_, 56) != kMiniStreamCutoff)
        return false;
    sectorSize_ = std::size_t{1} << sectorShift;
    firstDirectorySector_ = ReadU32(bytes_, 48);
    firstMiniFatSector_ = ReadU32(bytes_, 60);
    return true;
}

/// Gathers the table of the next sectors. Where its own sectors lie is told by the header, and in
/// large files by a chain of sectors of its own, each of which ends in the number of the next.
bool CompoundFile::ReadFat() {
    std::vector<std::uint32_t> fatSectors;
    AppendNumbers(std::string_view(bytes_).substr(kDifatInHeader, 4 * kDifatEntriesInHeader),
                  fatSectors);
    const std::size_t sectorCount = bytes_.size() / sectorSize_;
    std::size_t steps = 0;
    for (std::uint32_t next = ReadU32(bytes_, 68); next <= kHighestSector; ++steps) {
        const std::optional<std::string_view> sector = GetSector(next);
        if (!sector || sector->size() < sectorSize_ || steps > sectorCount)
            return false;
        AppendNumbers(*sector, fatSectors);
        next = fatSectors.back();
        fatSectors.pop_back();
    }
    std::erase_if(fatSectors, [](std::uint32_t number) { return number > kHighestSector; });
    // Each has a place of its own in an honest file, so there cannot be more than there are
    // sectors.
    if (fatSectors.size() > sectorCount)
        return false;
    return std::all_of(fatSectors.begin(), fatSectors.end(), [&](std::uint32_t number) {
        const std::optional<std::string_view> sector = GetSector(number);
        if (!sector || sector->size() < sectorSize_)
            return false;
        AppendNumbers(*sector, fat_);
        return true;
    });
}

bool CompoundFile::ReadDirectory() {
    const std::optional<std::string> directory = ReadChain(firstDirectorySector_);
    if (!directory || directory->size() < kDirectoryEntrySize)
        return false;
    const std::string_view root = std::string_view(*directory).substr(0, kDirectoryEntrySize);
    if (static_cast<unsigned char>(root[66]) != kRootEntry)
        return false;
    std::copy_n(root.begin() + 80, rootClass_.size(), rootClass_.begin());
    return ReadMiniStream({ReadU32(root, 116), ReadU32(root, 120)}) &&
           ReadStreamEntries(*directory, ReadU32(root, 76));
}

/// Walks the tree of the entries right below the root, each of which names up to two others.
bool CompoundFile::ReadStreamEntries(const std::string& directory, std::uint32_t firstChild) {
    const std::size_t count = directory.size() / kDirectoryEntrySize;
    std::vector<bool> isSeen(count);
    std::vector<std::uint32_t> waiting = {firstChild};
    while (!waiting.empty()) {
        const std::uint32_t number = waiting.back();
        waiting.pop_back();
        if (number == kNoEntry)
            continue;
        if (number >= count || isSeen[number])
            return false;
        isSeen[number] = true;
        const std::string_view entry =
            std::string_view(directory).substr(number * kDirectoryEntrySize, kDirectoryEntrySize);
        waiting.push_back(ReadU32(entry, 68));
        waiting.push_back(ReadU32(entry, 72));
        if (static_cast<unsigned char>(entry[66]) != kStreamEntry)
            continue;
        // Version 3 leaves the upper half of the size undefined.
        const std::uint64_t high = sectorSize_ == 512 ? 0 : ReadU32(entry, 124);
        const Stream stream{ReadU32(entry, 116), high << 32U | ReadU32(entry, 120)};
        if (!streams_.emplace(ReadEntryName(entry), stream).second)
            return false;
    }
    return true;
}

/// Reads the stream that holds all small streams, and its table of next sectors.
bool CompoundFile::ReadMiniStream(const Stream& root) {
    if (root.start > kHighestSector || firstMiniFatSector_ > kHighestSector)
        return true;
    std::optional<std::string> content = ReadChain(root.start);
    const std::optional<std::string> table = ReadChain(firstMiniFatSector_);
    if (!content || !table || content->size() < root.size)
        return false;
    content->resize(root.size);
    miniStream_ = *std::move(content);
    AppendNumbers(*table, miniFat_);
    return true;
}

/// A sector's bytes; the last one of a file may be cut short.
std::optional<std::string_view> CompoundFile::GetSector(std::uint32_t number) const {
    const std::uint64_t start = (std::uint64_t{number} + 1) * sectorSize_;
    if (start >= bytes_.size())
        return std::nullopt;
    return std::string_view(bytes_).substr(start, sectorSize_);
}

/// The sectors of a chain one behind the other. No chain is longer than the file.
std::optional<std::string> CompoundFile::ReadChain(std::uint32_t start) const {
    std::string content;
    std::uint32_t number = start;
    while (number != kEndOfChain) {
        const std::optional<std::string_view> sector = GetSector(number);
        if (!sector || number >= fat_.size() || content.size() > bytes_.size())
            return std::nullopt;
        // Behind a sector that is cut nothing would be in its place.
        if (sector->size() < sectorSize_ && fat_[number] != kEndOfChain)
            return std::nullopt;
        content += *sector;
        number = fat_[number];
    }
    return content;
}

std::optional<std::string> CompoundFile::ReadMiniChain(const Stream& stream) const {
    std::string content;
    std::uint32_t number = stream.start;
    while (content.size() < stream.size) {
        const std::size_t start = std::size_t{number} * kMiniSectorSize;
        const bool isLoop = content.size() > miniStream_.size();
        if (number >= miniFat_.size() || start >= miniStream_.size() || isLoop)
            return std::nullopt;
        content.append(miniStream_, start, kMiniSectorSize);
        number = miniFat_[number];
    }
    return content;
}

}  // namespace platform::simulated
