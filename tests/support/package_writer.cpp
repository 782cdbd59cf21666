#include "support/package_writer.h"

#include "platform/simulated/packages/little_endian.h"

#include <iterator>
#include <map>
#include <numeric>

namespace test {

namespace {

constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t kFree = 0xFFFFFFFF;

std::string WriteNumber(std::uint64_t number, std::size_t width) {
    std::string bytes;
    for (; width > 0; --width, number >>= 8U)
        bytes.push_back(static_cast<char>(number & 0xFFU));
    return bytes;
}

std::u16string MakeStreamName(const std::string& table) {
    const std::string digits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._";
    std::u16string name(1, 0x4840);
    for (std::size_t i = 0; i < table.size(); i += 2) {
        const std::size_t first = digits.find(table[i]);
        name.push_back(static_cast<char16_t>(i + 1 < table.size()
                                                 ? 0x3800 + first + 64 * digits.find(table[i + 1])
                                                 : 0x4800 + first));
    }
    return name;
}

/// The sectors of a file, and of each the number of the one behind it.
struct SectorFile {
    std::size_t sectorSize;
    std::string sectors;
    std::vector<std::uint32_t> next;

    std::uint32_t Add(std::string bytes) {
        if (bytes.empty())
            return kEndOfChain;
        bytes.resize((bytes.size() + sectorSize - 1) / sectorSize * sectorSize, '\0');
        const auto start = static_cast<std::uint32_t>(next.size());
        sectors += bytes;
        while (next.size() * sectorSize < sectors.size())
            next.push_back(static_cast<std::uint32_t>(next.size() + 1));
        next.back() = kEndOfChain;
        return start;
    }
};

std::string WriteNumbers(const std::vector<std::uint32_t>& numbers) {
    std::string bytes;
    for (const std::uint32_t number : numbers)
        bytes += WriteNumber(number, 4);
    return bytes;
}

std::string WriteEntry(const std::u16string& name, char type, std::uint32_t right,
                       std::uint32_t child, std::uint32_t start, std::size_t size,
                       std::uint32_t upperSize) {
    std::string entry;
    for (const char16_t character : name)
        entry += WriteNumber(character, 2);
    entry.resize(64);
    entry += WriteNumber(2 * (name.size() + 1), 2) + type + '\1';
    entry += WriteNumbers({kFree, right, child});
    entry.resize(116);
    return entry + WriteNumber(start, 4) + WriteNumber(size, 4) + WriteNumber(upperSize, 4);
}

/// Lays the streams into a compound file, the small ones into its stream of small streams.
std::string WriteCompoundFile(const std::vector<std::pair<std::string, std::string>>& streams,
                              const Package& package) {
    // Version 3, with small sectors, has nothing to say in the upper half of a size.
    const std::uint32_t upperSize = package.sectorSize == 512 ? 0xFFFFFFFF : 0;
    SectorFile mini{64, {}, {}};
    SectorFile file{package.sectorSize, {}, {}};
    // The entries are a tree that is searched by the length of a name and then by its characters;
    // here each has the next one to its right.
    std::map<std::pair<std::size_t, std::u16string>, std::uint32_t> tree;
    for (const auto& [name, content] : streams)
        tree[{MakeStreamName(name).size(), MakeStreamName(name)}] =
            static_cast<std::uint32_t>(tree.size() + 1);
    std::string entries;
    for (const auto& [name, content] : streams) {
        const std::uint32_t start = content.size() < 4096 ? mini.Add(content) : file.Add(content);
        const std::u16string streamName = MakeStreamName(name);
        const auto next = std::next(tree.find({streamName.size(), streamName}));
        entries += WriteEntry(streamName, 2, next == tree.end() ? kFree : next->second, kFree,
                              start, content.size(), upperSize);
    }
    const std::uint32_t miniStart = file.Add(mini.sectors);
    std::string root = WriteEntry(u"Root Entry", 5, kFree, tree.begin()->second, miniStart,
                                  mini.sectors.size(), upperSize);
    const std::string patchClass("\x86\x10\x0C\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 16);
    root.replace(80, 16, patchClass).replace(80, 1, 1, static_cast<char>(package.classByte));
    const std::uint32_t directory = file.Add(root + entries);
    const std::uint32_t miniFat = file.Add(WriteNumbers(mini.next));

    // The table of sectors counts itself, and the table that says where it lies, as well. The
    // header has room for the first 109 sectors of it; further tables end in the place of the next.
    const std::size_t perSector = package.sectorSize / 4;
    const auto first = static_cast<std::uint32_t>(file.next.size());
    const auto tables = [&](std::size_t sectors) {
        return sectors <= 109 ? 0 : (sectors - 109 + perSector - 2) / (perSector - 1);
    };
    std::size_t fatCount = 1;
    while (fatCount * perSector < first + fatCount + tables(fatCount))
        ++fatCount;
    std::vector<std::uint32_t> places(fatCount);
    std::iota(places.begin(), places.end(), first);
    places.resize(109 + tables(fatCount) * (perSector - 1), kFree);
    std::string furtherTables;
    for (std::size_t i = 0; i < tables(fatCount); ++i) {
        const auto start = places.begin() + static_cast<std::ptrdiff_t>(109 + i * (perSector - 1));
        furtherTables += WriteNumbers({start, start + static_cast<std::ptrdiff_t>(perSector - 1)});
        const bool isLast = i + 1 == tables(fatCount);
        furtherTables += WriteNumber(isLast ? kEndOfChain : first + fatCount + i + 1, 4);
    }
    places.resize(109);
    file.next.resize(fatCount * perSector, kFree);

    std::string header = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1" + std::string(16, '\0');
    const bool isLarge = package.sectorSize == 4096;
    header += WriteNumber(0x3E, 2) + WriteNumber(isLarge ? 4 : 3, 2) + WriteNumber(0xFFFE, 2) +
              WriteNumber(isLarge ? 12 : 9, 2) + WriteNumber(6, 2) + std::string(10, '\0');
    header += WriteNumber(fatCount, 4) + WriteNumbers({directory, 0, 4096, miniFat, 1});
    header += WriteNumber(furtherTables.empty() ? kEndOfChain : first + fatCount, 4) +
              WriteNumber(tables(fatCount), 4);
    header += WriteNumbers(places);
    header.resize(package.sectorSize);
    return header + file.sectors + WriteNumbers(file.next) + furtherTables;
}

}  // namespace

Package MakePackage(std::vector<std::pair<std::string, std::string>> rows) {
    Package package;
    package.rows = std::move(rows);
    return package;
}

std::string WritePackage(const Package& package) {
    const std::size_t width = package.hasLongReferences ? 3 : 2;
    std::string lengths = WriteNumber(package.codePage | (width == 3 ? 0x80000000 : 0), 4);
    std::string data;
    std::uint32_t count = 1;
    const auto refer = [&](const std::string& text) {
        if (text.empty())
            return WriteNumber(0, width);
        if (text.size() > 0xFFFF)
            lengths += WriteNumber(0, 2) + WriteNumber(1, 2) + WriteNumber(text.size(), 4);
        else
            lengths += WriteNumber(text.size(), 2) + WriteNumber(1, 2);
        data += text;
        return WriteNumber(++count, width);
    };
    const std::string table = package.hasTable ? "MsiPatchMetadata" : "Another";
    const std::string tables = refer(table);
    lengths.insert(4, WriteNumber(0, 4));  // an entry that is free takes a number all the same
    // A number, a stream and an order of the columns that is not theirs have to be coped with.
    const std::pair<const char*, std::uint32_t> definitions[] = {{"Company", 0x3D48},
                                                                 {"Property", 0x2D48},
                                                                 {"Order", 0x1502},
                                                                 {"Data", 0x1900},
                                                                 {"Value", 0x1F00}};
    std::string columns[4];
    for (std::uint32_t i = 5; i > 0; --i) {
        columns[0] += tables;
        columns[1] += WriteNumber(0x8000 + i, 2);
        columns[2] += refer(definitions[i - 1].first);
        columns[3] += WriteNumber(definitions[i - 1].second ^ 0x8000U, 2);
    }
    std::string values[5];
    for (const auto& [property, value] : package.rows) {
        values[0] += refer("");
        values[1] += refer(property);
        values[2] += WriteNumber(0x8007, 2);
        values[3] += WriteNumber(1, 2);
        values[4] += refer(value);
    }
    return WriteCompoundFile({{"_StringPool", lengths},
                              {"_StringData", data},
                              {"_Tables", tables},
                              {"_Columns", columns[0] + columns[1] + columns[2] + columns[3]},
                              {table, values[0] + values[1] + values[2] + values[3] + values[4]}},
                             package);
}

std::size_t FindDirectoryEntry(const std::string& file, std::size_t entry) {
    const std::size_t sectorSize = platform::simulated::ReadU16(file, 30) == 9 ? 512 : 4096;
    return (platform::simulated::ReadU32(file, 48) + 1) * sectorSize + entry * 128;
}

void OverwriteNumber(std::string& file, std::size_t place, std::uint32_t number) {
    file.replace(place, 4, WriteNumber(number, 4));
}

}  // namespace test
