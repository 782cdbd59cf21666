#pragma once

#include "platform/simulated/texts/letter_case.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace platform::simulated {

/// A tree of names that compare without regard to case and keep the spelling of their first use, as
/// the registry and a drive are. A path is names joined by backslashes, without one at either end;
/// names are not empty and hold no NUL.
///
/// A copy of a tree costs nothing: it shares with the other what neither of them has changed since,
/// folder by folder. What Find and FindName gave means nothing any more when the tree has changed.
template <typename Content>
class CaselessTree {
  public:
    /// The content of the entry at `path`, or null.
    [[nodiscard]] const Content* Find(std::u16string_view path) const {
        const Entry* entry = FindEntry(path);
        return entry == nullptr ? nullptr : &entry->second.content;
    }

    /// The last name of `path` in the spelling of its first use, or null.
    [[nodiscard]] const std::u16string* FindName(std::u16string_view path) const {
        const Entry* entry = FindEntry(path);
        return entry == nullptr ? nullptr : &entry->first;
    }

    /// The content of the entry at `path`, to be changed, or null.
    [[nodiscard]] Content* FindToChange(std::u16string_view path) {
        return Find(path) == nullptr ? nullptr : &Insert(path);
    }

    /// The content of the entry at `path`, made with a default one if it is missing, and its
    /// parents likewise.
    Content& Insert(std::u16string_view path) {
        for (std::shared_ptr<Folder>* folder = &top_;;) {
            Folder& own = MakeOwn(*folder);
            const std::u16string_view name = TakeName(path);
            auto place = own.find(name);
            if (place == own.end())
                place = own.try_emplace(std::u16string(name)).first;
            if (path.empty())
                return place->second.content;
            path.remove_prefix(1);
            folder = &place->second.below;
        }
    }

    /// Whether what lies below `path` is still what this tree shares with the other: if so, neither
    /// has changed there.
    [[nodiscard]] bool SharesFolder(const CaselessTree& other, std::u16string_view path) const {
        const Entry* here = FindEntry(path);
        const Entry* there = other.FindEntry(path);
        return here != nullptr && there != nullptr && here->second.below == there->second.below;
    }

    /// Removes the entry at `path` and all below it; whether there was one.
    bool Remove(std::u16string_view path) {
        if (Find(path) == nullptr)
            return false;
        for (std::shared_ptr<Folder>* folder = &top_;;) {
            const auto place = MakeOwn(*folder).find(TakeName(path));
            if (path.empty()) {
                (*folder)->erase(place);
                return true;
            }
            path.remove_prefix(1);
            folder = &place->second.below;
        }
    }

    /// The names right below `path`, in their order without regard to case.
    [[nodiscard]] std::vector<std::u16string> GetNames(std::u16string_view path) const {
        std::vector<std::u16string> names;
        if (const Entry* parent = FindEntry(path)) {
            const std::vector<Sorted> sorted = Sort(parent->second.below.get());
            names.reserve(sorted.size());
            for (const Sorted& one : sorted)
                names.push_back(one.entry->first);
        }
        return names;
    }

    /// Calls `visit` with the path and the content of every entry: an entry in front of those below
    /// it, names beside each other in their order without regard to case.
    template <typename Visit>
    void Walk(Visit visit) const {
        std::u16string path;
        WalkFolder(top_.get(), path, visit);
    }

  private:
    struct Node;

    // By names in the spelling of their first use. There may be very many, and one is looked for
    // far more often than their order is asked for.
    using Folder = std::unordered_map<std::u16string, Node, CaselessHash, CaselessEqual>;
    using Entry = std::pair<const std::u16string, Node>;

    struct Node {
        Content content;
        std::shared_ptr<Folder> below;  // null as long as there is nothing
    };

    [[nodiscard]] const Entry* FindEntry(std::u16string_view path) const {
        const Folder* folder = top_.get();
        while (folder != nullptr) {
            const auto found = folder->find(TakeName(path));
            if (found == folder->end())
                return nullptr;
            if (path.empty())
                return &*found;
            path.remove_prefix(1);
            folder = found->second.below.get();
        }
        return nullptr;
    }

    /// Takes the first name away from a path; the backslash behind it stays.
    static std::u16string_view TakeName(std::u16string_view& path) {
        const std::u16string_view name = path.substr(0, path.find(u'\\'));
        path.remove_prefix(name.size());
        return name;
    }

    /// The folder, which this tree shares with no other any more.
    static Folder& MakeOwn(std::shared_ptr<Folder>& folder) {
        if (!folder)
            folder = std::make_shared<Folder>();
        else if (folder.use_count() > 1)
            folder = std::make_shared<Folder>(*folder);
        return *folder;
    }

    /// An entry and the beginning of its name in one letter case, where most names differ: far
    /// fewer names have to be looked up to be put in order.
    struct Sorted {
        std::array<char16_t, 8> beginning;  // filled up with NULs, which no name holds
        const Entry* entry;

        bool operator<(const Sorted& other) const {
            if (beginning != other.beginning)
                return beginning < other.beginning;
            return CaselessLess()(entry->first, other.entry->first);
        }
    };

    /// What is in a folder, in the order of the names.
    static std::vector<Sorted> Sort(const Folder* folder) {
        std::vector<Sorted> sorted;
        if (folder != nullptr) {
            sorted.reserve(folder->size());
            for (const Entry& entry : *folder) {
                Sorted& one = sorted.emplace_back(Sorted{{}, &entry});
                const std::u16string_view name(entry.first);
                const std::u16string_view start = name.substr(0, one.beginning.size());
                std::transform(start.begin(), start.end(), one.beginning.begin(), ToUpper);
            }
        }
        std::sort(sorted.begin(), sorted.end());
        return sorted;
    }

    template <typename Visit>
    static void WalkFolder(const Folder* folder, std::u16string& path, Visit& visit) {
        const std::size_t length = path.size();
        for (const Sorted& one : Sort(folder)) {
            path.append(length == 0 ? u"" : u"\\").append(one.entry->first);
            visit(std::as_const(path), one.entry->second.content);
            WalkFolder(one.entry->second.below.get(), path, visit);
            path.resize(length);
        }
    }

    std::shared_ptr<Folder> top_;
};

}  // namespace platform::simulated
