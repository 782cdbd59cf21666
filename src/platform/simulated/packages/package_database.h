#pragma once

#include "platform/simulated/packages/compound_file.h"
#include "platform/simulated/packages/string_pool.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::simulated {

/// A column of a table, and where its values lie in the table's stream.
struct TableColumn {
    std::uint32_t name = 0;  ///< reference into the pool
    std::uint32_t number = 0;
    std::uint32_t type = 0;
    std::size_t width = 0;   ///< bytes of a value
    std::size_t offset = 0;  ///< bytes of the values in front of it, in one row
};

/// What a query delivers. Texts stay in the pool, so a result takes no more memory than its table.
class QueryResult {
  public:
    QueryResult(std::shared_ptr<const StringPool> pool, std::string stream, std::size_t rowCount,
                std::vector<TableColumn> columns);

    /// What a query for these texts, of one row, delivers; no row if there are none.
    [[nodiscard]] static QueryResult OfRow(const std::vector<std::u16string>& texts);

    [[nodiscard]] std::size_t CountRows() const {
        return rowCount_;
    }

    /// Whether every text that the rows refer to is in the pool.
    [[nodiscard]] bool IsSound() const;

    /// The text of a field: a row, counted from 0, and a selected column, counted from 1; empty for
    /// any other column. A number is written out in `buffer`. Lives as long as the result and the
    /// buffer.
    [[nodiscard]] std::u16string_view GetField(std::size_t row, std::size_t column,
                                               std::u16string& buffer) const;

  private:
    [[nodiscard]] std::uint32_t GetStored(std::size_t row, const TableColumn& column) const;

    std::shared_ptr<const StringPool> pool_;
    std::string stream_;
    std::size_t rowCount_;
    std::vector<TableColumn> columns_;
};

/// The Windows Installer database in a patch package, read only.
///
/// It lies in streams of a compound file: the pool of texts, and one stream a table, column behind
/// column. As with the compound file, nothing in it is believed.
class PackageDatabase {
  public:
    /// Opens the bytes of a package. Nothing if they are no compound file, its root class is not
    /// that of a patch, or it has no sound pool of texts in a known code page. Where that is not
    /// known and all else is sound, `unknownCodePage` is set to it.
    [[nodiscard]] static std::optional<PackageDatabase>
    Open(std::string bytes, std::optional<std::uint32_t>& unknownCodePage);

    /// Carries out a query of the form SELECT `column`, ... FROM `table`. Nothing if it has another
    /// form, the table or a column is not there, or the table is damaged.
    [[nodiscard]] std::optional<QueryResult> Select(std::u16string_view query) const;

  private:
    PackageDatabase(CompoundFile file, StringPool pool);

    [[nodiscard]] std::optional<std::string> ReadTable(std::u16string_view table) const;
    [[nodiscard]] bool HasTable(std::u16string_view table) const;
    [[nodiscard]] std::optional<std::vector<TableColumn>>
    ReadColumns(std::u16string_view table) const;

    CompoundFile file_;
    std::shared_ptr<const StringPool> pool_;
};

}  // namespace platform::simulated
