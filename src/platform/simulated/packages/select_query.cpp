#include "platform/simulated/packages/select_query.h"

#include "platform/wide_text.h"

#include <algorithm>

namespace platform::simulated {

namespace {

constexpr std::u16string_view kNameCharacters =
    u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.";

void SkipBlanks(std::u16string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(u" \t\r\n"), text.size()));
}

/// Takes the characters that a name without accents is made of; empty if none stands there.
std::u16string_view TakeWord(std::u16string_view& text) {
    SkipBlanks(text);
    const std::u16string_view word = text.substr(0, text.find_first_not_of(kNameCharacters));
    text.remove_prefix(word.size());
    return word;
}

bool TakeKeyword(std::u16string_view& text, std::u16string_view keyword) {
    return EqualsIgnoringAsciiCase(TakeWord(text), keyword);
}

/// Takes a name, with or without accents; empty if none stands there.
std::u16string_view TakeName(std::u16string_view& text) {
    SkipBlanks(text);
    if (!text.starts_with(u'`'))
        return TakeWord(text);
    const std::u16string_view name = text.substr(1, text.find(u'`', 1) - 1);
    text.remove_prefix(std::min(name.size() + 2, text.size()));
    return name;
}

bool TakeComma(std::u16string_view& text) {
    SkipBlanks(text);
    if (!text.starts_with(u','))
        return false;
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::optional<SelectQuery> ParseSelectQuery(std::u16string_view query) {
    SelectQuery select;
    if (!TakeKeyword(query, u"SELECT"))
        return std::nullopt;
    do {
        select.columns.emplace_back(TakeName(query));
        if (select.columns.back().empty())
            return std::nullopt;
    } while (TakeComma(query));
    if (!TakeKeyword(query, u"FROM"))
        return std::nullopt;
    select.table = TakeName(query);
    SkipBlanks(query);
    if (select.table.empty() || !query.empty())
        return std::nullopt;
    return select;
}

}  // namespace platform::simulated
