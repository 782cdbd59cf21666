#include "platform/simulated/packages/package_database.h"

#include "platform/simulated/packages/little_endian.h"
#include "platform/simulated/packages/select_query.h"

#include <algorithm>
#include <utility>

namespace platform::simulated {

namespace {

// {000C1086-0000-0000-C000-000000000046}
constexpr ClassId kPatchClass = {0x86, 0x10, 0x0C, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};

constexpr std::u16string_view kStringPool = u"_StringPool";
constexpr std::u16string_view kStringData = u"_StringData";
constexpr std::u16string_view kTables = u"_Tables";
constexpr std::u16string_view kColumns = u"_Columns";

// The bits of a column's type: the size of a number, and whether it is a text or a stream.
constexpr std::uint32_t kTypeSize = 0x00FF;
constexpr std::uint32_t kTypeText = 0x0800;
constexpr std::uint32_t kTypeNullable = 0x1000;
constexpr std::uint32_t kTypeKey = 0x2000;
constexpr std::uint32_t kTypeStream = 0x0900;

/// The digits in which stream names are packed, in the order of their values.
constexpr std::u16string_view kNameDigits =
    u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._";

/// The name of a table's stream: a mark, then two characters of the table's name in one.
std::u16string EncodeTableName(std::u16string_view table) {
    std::u16string name(1, 0x4840);
    for (std::size_t i = 0; i < table.size(); ++i) {
        const std::size_t first = kNameDigits.find(table[i]);
        const std::size_t second =
            i + 1 < table.size() ? kNameDigits.find(table[i + 1]) : std::u16string_view::npos;
        if (first == std::u16string_view::npos) {
            name.push_back(table[i]);
        } else if (second == std::u16string_view::npos) {
            name.push_back(static_cast<char16_t>(0x4800 + first));
        } else {
            name.push_back(static_cast<char16_t>(0x3800 + first + (second << 6U)));
            ++i;
        }
    }
    return name;
}

/// A stored value: a reference or a number of two to four bytes.
std::uint32_t ReadStored(std::string_view bytes, std::size_t place, std::size_t width) {
    std::uint32_t stored = 0;
    for (std::size_t i = 0; i < width; ++i)
        stored |= std::uint32_t{static_cast<unsigned char>(bytes[place + i])} << (8 * i);
    return stored;
}

/// A stored number as a text. Numbers are stored with their highest bit turned, so that 0 can stand
/// for none.
std::u16string FormatNumber(std::uint32_t stored, std::size_t width) {
    if (stored == 0)
        return {};
    const std::int64_t zero = std::int64_t{1} << (8 * width - 1);
    const std::string digits = std::to_string(std::int64_t{stored} - zero);
    return {digits.begin(), digits.end()};
}

bool IsReference(std::uint32_t type) {
    const bool isStream = (type & ~(kTypeNullable | kTypeKey)) == kTypeStream;
    return (type & kTypeText) != 0 && !isStream;
}

/// The bytes of a value in a column of this type; 0 if there is no such type.
std::size_t MeasureValue(std::uint32_t type, std::size_t referenceWidth) {
    if (IsReference(type))
        return referenceWidth;
    if ((type & kTypeText) != 0)
        return 2;
    const std::uint32_t size = type & kTypeSize;
    return size == 4 ? 4 : (size == 1 || size == 2 ? 2 : 0);
}

/// Puts columns in their order and works out where their values lie; false if a number is missing
/// or stands twice.
bool Arrange(std::vector<TableColumn>& columns) {
    std::sort(columns.begin(), columns.end(),
              [](const TableColumn& a, const TableColumn& b) { return a.number < b.number; });
    std::size_t offset = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].number != i + 1)
            return false;
        columns[i].offset = offset;
        offset += columns[i].width;
    }
    return true;
}

}  // namespace

QueryResult::QueryResult(std::shared_ptr<const StringPool> pool, std::string stream,
                         std::size_t rowCount, std::vector<TableColumn> columns)
    : pool_(std::move(pool)), stream_(std::move(stream)), rowCount_(rowCount),
      columns_(std::move(columns)) {}

QueryResult QueryResult::OfRow(const std::vector<std::u16string>& texts) {
    auto pool = std::make_shared<const StringPool>(StringPool::OfTexts(texts));
    std::string stream;
    std::vector<TableColumn> columns;
    for (std::uint32_t number = 1; number <= texts.size(); ++number) {
        const std::size_t width = pool->GetReferenceWidth();
        columns.push_back({0, number, kTypeText, width, stream.size()});
        for (std::size_t i = 0; i < width; ++i)
            stream.push_back(static_cast<char>(number >> (8 * i)));
    }
    return {std::move(pool), std::move(stream), texts.empty() ? 0U : 1U, std::move(columns)};
}

bool QueryResult::IsSound() const {
    for (const TableColumn& column : columns_) {
        for (std::size_t row = 0; row < rowCount_; ++row) {
            if (IsReference(column.type) && !pool_->GetText(GetStored(row, column)))
                return false;
        }
    }
    return true;
}

std::u16string_view QueryResult::GetField(std::size_t row, std::size_t column,
                                          std::u16string& buffer) const {
    if (column == 0 || column > columns_.size())
        return {};
    const TableColumn& selected = columns_[column - 1];
    const std::uint32_t stored = GetStored(row, selected);
    if (IsReference(selected.type))
        return pool_->GetText(stored).value_or(std::u16string_view());
    buffer = FormatNumber(stored, selected.width);
    return buffer;
}

std::uint32_t QueryResult::GetStored(std::size_t row, const TableColumn& column) const {
    return ReadStored(stream_, rowCount_ * column.offset + row * column.width, column.width);
}

std::optional<PackageDatabase>
PackageDatabase::Open(std::string bytes, std::optional<std::uint32_t>& unknownCodePage) {
    std::optional<CompoundFile> file = CompoundFile::Open(std::move(bytes));
    if (!file || file->GetRootClass() != kPatchClass)
        return std::nullopt;
    const auto lengths = file->ReadStream(EncodeTableName(kStringPool));
    const auto data = file->ReadStream(EncodeTableName(kStringData));
    if (!lengths || !data)
        return std::nullopt;
    std::optional<StringPool> pool = StringPool::Read(*lengths, *data, unknownCodePage);
    if (!pool)
        return std::nullopt;
    return PackageDatabase(*std::move(file), *std::move(pool));
}

PackageDatabase::PackageDatabase(CompoundFile file, StringPool pool)
    : file_(std::move(file)), pool_(std::make_shared<const StringPool>(std::move(pool))) {}

std::optional<QueryResult> PackageDatabase::Select(std::u16string_view query) const {
    const std::optional<SelectQuery> select = ParseSelectQuery(query);
    if (!select || !HasTable(select->table))
        return std::nullopt;
    const std::optional<std::vector<TableColumn>> columns = ReadColumns(select->table);
    if (!columns)
        return std::nullopt;
    std::vector<TableColumn> selected;
    for (const std::u16string& name : select->columns) {
        const auto column = std::find_if(columns->begin(), columns->end(), [&](const auto& known) {
            return pool_->GetText(known.name) == name;
        });
        if (column == columns->end())
            return std::nullopt;
        selected.push_back(*column);
    }
    std::optional<std::string> stream = ReadTable(select->table);
    const std::size_t rowWidth = columns->back().offset + columns->back().width;
    if (!stream || stream->size() % rowWidth != 0)
        return std::nullopt;
    const std::size_t rowCount = stream->size() / rowWidth;
    QueryResult result(pool_, *std::move(stream), rowCount, std::move(selected));
    return result.IsSound() ? std::optional(std::move(result)) : std::nullopt;
}

/// The stream of a table, empty for a table without rows, which has none; nothing if it is damaged.
std::optional<std::string> PackageDatabase::ReadTable(std::u16string_view table) const {
    const std::u16string name = EncodeTableName(table);
    return file_.HasStream(name) ? file_.ReadStream(name) : "";
}

bool PackageDatabase::HasTable(std::u16string_view table) const {
    const std::optional<std::string> tables = ReadTable(kTables);
    const std::size_t width = pool_->GetReferenceWidth();
    for (std::size_t i = 0; tables && i + width <= tables->size(); i += width) {
        if (pool_->GetText(ReadStored(*tables, i, width)) == table)
            return true;
    }
    return false;
}

/// The columns of a table in their order, out of `_Columns`: a table of four columns itself, which
/// hold the table's name, the column's number, its name and its type.
std::optional<std::vector<TableColumn>>
PackageDatabase::ReadColumns(std::u16string_view table) const {
    const std::optional<std::string> stream = ReadTable(kColumns);
    const std::size_t width = pool_->GetReferenceWidth();
    const std::size_t rowWidth = 2 * width + 4;
    if (!stream || stream->size() % rowWidth != 0)
        return std::nullopt;
    const std::size_t count = stream->size() / rowWidth;
    const std::size_t numbers = count * width;
    const std::size_t names = numbers + 2 * count;
    const std::size_t types = names + count * width;
    std::vector<TableColumn> columns;
    for (std::size_t row = 0; row < count; ++row) {
        if (pool_->GetText(ReadStored(*stream, row * width, width)) != table)
            continue;
        TableColumn& column = columns.emplace_back();
        column.number = ReadStored(*stream, numbers + 2 * row, 2) ^ 0x8000U;
        column.name = ReadStored(*stream, names + row * width, width);
        column.type = ReadStored(*stream, types + 2 * row, 2) ^ 0x8000U;
        column.width = MeasureValue(column.type, width);
        if (column.width == 0 || !pool_->GetText(column.name))
            return std::nullopt;
    }
    if (columns.empty() || !Arrange(columns))
        return std::nullopt;
    return columns;
}

}  // namespace platform::simulated
