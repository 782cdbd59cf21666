#pragma once

#include "platform/simulated/texts/letter_case.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform::simulated {

/// A tree of names that compare without regard to case and keep the spelling of their first use, as
/// the registry and a drive are. A path is names joined by backslashes, without one at either end;
/// names are not empty and hold no NUL.
///
/// The order of the entries is that of a walk through the tree: an entry stands before those below
/// it, names beside each other in their order without regard to case.
template <typename Content>
class CaselessTree {
  public:
    struct Entry {
        std::u16string path;  ///< in the spelling of its first use
        Content content;
    };

    /// The entry at `path`, or null.
    [[nodiscard]] const Entry* Find(std::u16string_view path) const {
        const auto found = entries_.find(MakeKey(path));
        return found == entries_.end() ? nullptr : &found->second;
    }
    [[nodiscard]] Entry* Find(std::u16string_view path) {
        return const_cast<Entry*>(std::as_const(*this).Find(path));
    }

    /// The entry at `path`, made with a default content if it is missing, and its parents likewise.
    Entry& Insert(std::u16string_view path) {
        if (Entry* entry = Find(path))
            return *entry;
        const std::size_t backslash = path.rfind(u'\\');
        std::u16string spelling;
        if (backslash != std::u16string_view::npos)
            spelling = Insert(path.substr(0, backslash)).path + u'\\';
        spelling += path.substr(backslash + 1);  // npos + 1 is 0: a path without a parent
        const auto made = entries_.emplace(MakeKey(path), Entry{std::move(spelling), Content{}});
        return made.first->second;
    }

    /// Removes the entry at `path` and all below it; whether there was one.
    bool Remove(std::u16string_view path) {
        const std::u16string key = MakeKey(path);
        const auto first = entries_.find(key);
        if (first == entries_.end())
            return false;
        entries_.erase(first, FindEndOfSubtree(key));
        return true;
    }

    /// The entries right below `path`, in order.
    [[nodiscard]] std::vector<const Entry*> GetChildren(std::u16string_view path) const {
        std::vector<const Entry*> children;
        const std::u16string key = MakeKey(path);
        const auto end = FindEndOfSubtree(key);
        auto child = entries_.upper_bound(key + u'\0');
        while (child != end) {
            children.push_back(&child->second);
            child = FindEndOfSubtree(child->first);
        }
        return children;
    }

    /// All entries in order, as pairs of a key (for nobody else's use) and an entry.
    [[nodiscard]] auto begin() const {
        return entries_.begin();
    }
    [[nodiscard]] auto end() const {
        return entries_.end();
    }

  private:
    using Entries = std::map<std::u16string, Entry>;

    /// The path in one letter case, with NUL between the names: the lowest character of all, which
    /// makes the order of the keys that of the tree.
    static std::u16string MakeKey(std::u16string_view path) {
        std::u16string key = FoldCase(path);
        for (char16_t& character : key) {
            if (character == u'\\')
                character = u'\0';
        }
        return key;
    }

    /// The first entry behind `key` and all that lies below it.
    [[nodiscard]] typename Entries::const_iterator
    FindEndOfSubtree(const std::u16string& key) const {
        return entries_.lower_bound(key + u'\1');
    }

    Entries entries_;
};

}  // namespace platform::simulated
