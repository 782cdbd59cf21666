#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::simulated {

/// What is selected from where.
struct SelectQuery {
    std::vector<std::u16string> columns;
    std::u16string table;
};

/// Understands the one form of query that is in use: SELECT, names of columns parted by commas,
/// FROM, the name of a table. The two words may be in any letter case; a name may stand in grave
/// accents, and without them holds letters, digits, dots and underscores. Nothing for any other
/// text.
[[nodiscard]] std::optional<SelectQuery> ParseSelectQuery(std::u16string_view query);

}  // namespace platform::simulated
