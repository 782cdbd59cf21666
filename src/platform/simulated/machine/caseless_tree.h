#pragma once

#include "platform/simulated/texts/letter_case.h"

#include <algorithm>
#include <cstddef>
#include <functional>
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
/// folder by folder. What Find and GetChildren gave means nothing any more when the tree has
/// changed.
template <typename Content>
class CaselessTree {
  public:
    class Entry;

  private:
    struct Hash : std::hash<std::u16string_view> {
        using is_transparent = void;
    };

    // By the name in one letter case. There may be very many names, and one is looked for far more
    // often than their order is asked for.
    using Folder = std::unordered_map<std::u16string, Entry, Hash, std::equal_to<>>;

  public:
    class Entry {
      public:
        std::u16string name;  ///< in the spelling of its first use
        Content content;

      private:
        friend class CaselessTree;
        std::shared_ptr<Folder> below_;  // null as long as there is nothing
    };

    /// The entry at `path`, or null.
    [[nodiscard]] const Entry* Find(std::u16string_view path) const {
        const std::u16string folded = FoldCase(path);
        const Folder* folder = top_.get();
        for (std::u16string_view rest = folded; folder != nullptr;) {
            const auto found = folder->find(TakeName(rest));
            if (found == folder->end())
                return nullptr;
            if (rest.empty())
                return &found->second;
            rest.remove_prefix(1);
            folder = found->second.below_.get();
        }
        return nullptr;
    }

    /// The content of the entry at `path`, to be changed, or null.
    [[nodiscard]] Content* FindToChange(std::u16string_view path) {
        return Find(path) == nullptr ? nullptr : &Insert(path);
    }

    /// The content of the entry at `path`, made with a default one if it is missing, and its
    /// parents likewise.
    Content& Insert(std::u16string_view path) {
        const std::u16string folded = FoldCase(path);
        std::u16string_view rest = folded;
        for (std::shared_ptr<Folder>* folder = &top_;;) {
            const std::u16string_view name = TakeName(rest);
            const auto [place, isNew] = MakeOwn(*folder).try_emplace(std::u16string(name));
            Entry& entry = place->second;
            if (isNew)
                entry.name = path.substr(folded.size() - rest.size() - name.size(), name.size());
            if (rest.empty())
                return entry.content;
            rest.remove_prefix(1);
            folder = &entry.below_;
        }
    }

    /// Whether what lies below `path` is still what this tree shares with the other: if so, neither
    /// has changed there.
    [[nodiscard]] bool SharesFolder(const CaselessTree& other, std::u16string_view path) const {
        const Entry* here = Find(path);
        const Entry* there = other.Find(path);
        return here != nullptr && there != nullptr && here->below_ == there->below_;
    }

    /// Removes the entry at `path` and all below it; whether there was one.
    bool Remove(std::u16string_view path) {
        if (Find(path) == nullptr)
            return false;
        const std::u16string folded = FoldCase(path);
        std::u16string_view rest = folded;
        for (std::shared_ptr<Folder>* folder = &top_;;) {
            const auto place = MakeOwn(*folder).find(TakeName(rest));
            if (rest.empty()) {
                (*folder)->erase(place);
                return true;
            }
            rest.remove_prefix(1);
            folder = &place->second.below_;
        }
    }

    /// The entries right below `path`, in their order without regard to case.
    [[nodiscard]] std::vector<const Entry*> GetChildren(std::u16string_view path) const {
        const Entry* parent = Find(path);
        return parent == nullptr ? std::vector<const Entry*>() : Sort(parent->below_.get());
    }

    /// Calls `visit` with the path and the content of every entry: an entry in front of those below
    /// it, names beside each other in their order without regard to case.
    template <typename Visit>
    void Walk(Visit visit) const {
        std::u16string path;
        WalkFolder(top_.get(), path, visit);
    }

  private:
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

    /// What is in a folder, in the order of the names in one letter case.
    static std::vector<const Entry*> Sort(const Folder* folder) {
        std::vector<const typename Folder::value_type*> found;
        if (folder != nullptr) {
            found.reserve(folder->size());
            for (const auto& item : *folder)
                found.push_back(&item);
        }
        std::sort(found.begin(), found.end(),
                  [](const auto* a, const auto* b) { return a->first < b->first; });
        std::vector<const Entry*> sorted(found.size());
        std::transform(found.begin(), found.end(), sorted.begin(),
                       [](const auto* item) { return &item->second; });
        return sorted;
    }

    template <typename Visit>
    static void WalkFolder(const Folder* folder, std::u16string& path, Visit& visit) {
        const std::size_t length = path.size();
        for (const Entry* entry : Sort(folder)) {
            path.append(length == 0 ? u"" : u"\\").append(entry->name);
            visit(std::as_const(path), entry->content);
            WalkFolder(entry->below_.get(), path, visit);
            path.resize(length);
        }
    }

    std::shared_ptr<Folder> top_;
};

}  // namespace platform::simulated
