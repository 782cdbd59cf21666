#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// Writes small patch packages: compound files with a Windows Installer database.
namespace test {

struct Package {
    /// The rows of MsiPatchMetadata, property and value in the bytes of the code page.
    std::vector<std::pair<std::string, std::string>> rows;
    bool hasTable = true;
    std::uint32_t codePage = 1252;
    bool hasLongReferences = false;  ///< three bytes a reference
    std::size_t sectorSize = 512;    ///< or 4096
    unsigned char classByte = 0x86;  ///< the first of the root class; 0x84 is no patch
};

/// A package with these rows.
Package MakePackage(std::vector<std::pair<std::string, std::string>> rows);

std::string WritePackage(const Package& package);

/// The place of a directory entry of the written file: 0 is the root, 1 to 5 are the streams
/// _StringPool, _StringData, _Tables, _Columns and MsiPatchMetadata.
std::size_t FindDirectoryEntry(const std::string& file, std::size_t entry);

/// Overwrites four bytes.
void OverwriteNumber(std::string& file, std::size_t place, std::uint32_t number);

}  // namespace test
