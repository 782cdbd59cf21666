#include "replay/package_rows.h"

#include "inventory/lower_case.h"
#include "platform/simulated/machine/full_path.h"
#include "platform/simulated/texts/letter_case.h"
#include "platform/wide_text.h"
#include "replay/reasons.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace replay {

namespace {

using platform::EqualsIgnoringAsciiCase;
using platform::simulated::Machine;
using saltrove::CacheEntry;
using saltrove::EntryKind;
using saltrove::EnumeratedPatch;
using saltrove::LinkedPatch;
using saltrove::PatchDecision;
using saltrove::RemovalOutcome;
using saltrove::RunRecord;

constexpr std::u16string_view kPhaseGaveUp =
    u"; but linked cleanup gives up, and the cache folder is not looked at then";

Verdict GetVerdict(RemovalOutcome outcome) {
    switch (outcome) {
    case RemovalOutcome::Simulated:
    case RemovalOutcome::Deleted:
        return Verdict::Deleted;
    case RemovalOutcome::Marked:
        return Verdict::AtRestart;
    case RemovalOutcome::DeleteFailed:
    case RemovalOutcome::MarkFailed:
        break;
    }
    return Verdict::Failed;
}

Verdict GetVerdict(const PatchDecision& decision) {
    if (decision.outcome)
        return GetVerdict(*decision.outcome);
    return saltrove::IsPreserved(decision.fate) ? Verdict::Kept : Verdict::LeftAlone;
}

PackageKind GetKind(const CacheEntry& entry) {
    switch (entry.kind) {
    case EntryKind::Folder:
        return PackageKind::Folder;
    case EntryKind::Linked:
        return PackageKind::OtherProduct;
    case EntryKind::NoPackage:
        return PackageKind::NoPackage;
    case EntryKind::Foreign:
        return PackageKind::Foreign;
    case EntryKind::Orphan:
        break;
    }
    return PackageKind::Orphan;
}

/// Collects the rows: first of the patches that were evaluated, then of the cache folder's entries,
/// then of the links that neither of them showed.
class TableBuilder {
  public:
    TableBuilder(const RunRecord& record, const Machine& before)
        : record_(record), before_(before) {}

    PackageTable Build() {
        for (const PatchDecision& decision : record_.linked->patches)
            AddDecision(decision);
        AddUnread(record_.linked->gaps);
        for (const CacheEntry& entry : record_.orphans->entries)
            AddEntry(entry);
        for (const LinkedPatch& link : record_.orphans->linked.patches)
            AddLink(link);
        AddUnread(record_.orphans->linked.gaps);
        for (PackageRow& row : table_.rows)
            LookAtFile(row);
        JoinSpellings();
        return std::move(table_);
    }

  private:
    /// The row of a path, made if there is none yet, and whether it was. An empty path is that of a
    /// row of its own.
    std::pair<std::size_t, bool> FindRow(const std::u16string& path) {
        const std::size_t next = table_.rows.size();
        if (!path.empty()) {
            const auto [place, isNew] =
                places_.try_emplace(saltrove::LowerCaseCopy(path, locale_), next);
            if (!isNew)
                return {place->second, false};
        }
        PackageRow row;
        row.path = path;
        const std::u16string_view name = platform::GetFileName(path);
        const bool isCached = saltrove::IsInInstallerCache(path, locale_) &&
                              name.size() + saltrove::kInstallerCache.size() == path.size();
        row.file = isCached ? name : path;
        table_.rows.push_back(std::move(row));
        return {next, true};
    }

    [[nodiscard]] bool IsOwn(const EnumeratedPatch& patch) const {
        return EqualsIgnoringAsciiCase(patch.targetProductCode, record_.productCode);
    }

    /// A patch of a product, as it is told apart from others.
    static std::u16string MakeKey(const EnumeratedPatch& patch) {
        return platform::simulated::FoldCase(DescribePatch(patch));
    }

    void SetPatch(PackageRow& row, const EnumeratedPatch& patch) {
        row.productCode = patch.targetProductCode;
        row.patchCode = patch.patchCode;
        told_.insert(MakeKey(patch));
    }

    void AddDecision(const PatchDecision& decision) {
        const saltrove::PatchRecord& patch = decision.patch;
        const auto [place, isNew] = FindRow(patch.localPackage);
        table_.rowsOfPatches.push_back(place);
        told_.insert(MakeKey({patch.patchCode, record_.productCode}));
        PackageRow& row = table_.rows[place];
        const std::u16string reason = DescribeDecision(decision, record_.linked->plan);
        const Verdict verdict = GetVerdict(decision);
        // Of several patches with one package, that is told of first for which it went, or was to.
        const auto rank = [](Verdict of) {
            return of == Verdict::Deleted ? 3 : IsGoing(of) ? 2 : of == Verdict::Failed ? 1 : 0;
        };
        const bool isFirst = isNew || rank(verdict) > rank(row.verdict);
        if (!isFirst) {
            row.reason += u"; it is also the package of " + patch.patchCode + u" (" + reason + u")";
            return;
        }
        const std::u16string other =
            isNew ? u""
                  : u"; it is also the package of " + row.patchCode + u" (" + row.reason + u")";
        SetPatch(row, {patch.patchCode, record_.productCode});
        row.packageName = patch.packageName;
        row.version = patch.version;
        row.number = patch.versionNumber;
        row.type = saltrove::PatchTypeOfPackage(patch.packageName);
        row.state = saltrove::PatchStateName(patch.state);
        row.description = patch.displayName;
        row.verdict = verdict;
        row.reason = reason + other;
    }

    void AddEntry(const CacheEntry& entry) {
        const auto [place, isNew] =
            FindRow(std::u16string(saltrove::kInstallerCache) + entry.fileName);
        table_.rowsOfEntries.push_back(place);
        PackageRow& row = table_.rows[place];
        const bool hadEnded = record_.linked->plan.skip.has_value();
        std::u16string reason = DescribeEntry(entry, record_.orphans->linked);
        if (isNew) {
            const EnumeratedPatch* link =
                entry.link ? &record_.orphans->linked.patches[*entry.link].patch : nullptr;
            row.kind = link != nullptr && IsOwn(*link) ? PackageKind::Patch : GetKind(entry);
            row.description = entry.description;
            row.verdict = entry.kind == EntryKind::Linked ? Verdict::Kept : Verdict::LeftAlone;
            row.reason = std::move(reason);
            if (link != nullptr)
                SetPatch(row, *link);
        } else if (entry.kind == EntryKind::Orphan) {
            row.kind = PackageKind::Orphan;
            row.reason = reason + u"; before that, as a patch of the product: " + row.reason;
        } else if (entry.kind != EntryKind::Linked) {
            row.reason += u"; in the cache folder: " + reason;
        }
        if (hadEnded && (isNew || entry.kind == EntryKind::Orphan))
            row.reason += kPhaseGaveUp;
        if (!entry.outcome || hadEnded)
            return;
        if (const Verdict verdict = GetVerdict(*entry.outcome);
            IsGoing(verdict) || !IsGoing(row.verdict))
            row.verdict = verdict;
    }

    void AddLink(const LinkedPatch& link) {
        // Another patch of the product was told of with the decision on it.
        const bool isTold = told_.contains(MakeKey(link.patch));
        if (isTold && link.path.empty())
            return;
        const auto [place, isNew] = FindRow(link.path);
        PackageRow& row = table_.rows[place];
        if (isNew) {
            SetPatch(row, link.patch);
            row.kind = IsOwn(link.patch) ? PackageKind::Patch : PackageKind::OtherProduct;
            row.verdict = Verdict::LeftAlone;
            row.reason =
                u"linked by " + DescribePatch(link.patch) +
                (link.path.empty() ? u", but Windows Installer names no package of it"
                                   : u"; the search through the cache folder does not meet it");
        } else if (!isTold) {
            row.reason += u"; also linked by " + DescribePatch(link.patch);
        }
    }

    void AddUnread(const saltrove::ListGaps& gaps) {
        for (const EnumeratedPatch& patch : gaps.withoutPath) {
            if (told_.contains(MakeKey(patch)))
                continue;
            PackageRow& row = table_.rows[FindRow(u"").first];
            SetPatch(row, patch);
            row.kind = PackageKind::Unread;
            row.verdict = Verdict::LeftAlone;
            row.reason = u"the path of its package could not be read";
        }
    }

    void LookAtFile(PackageRow& row) const {
        if (row.path.empty())
            return;
        row.place = LocateFile(row.path);
        if (row.place.empty()) {
            row.reason += u" (not on drive C:, which is all that is known of the machine's files)";
            return;
        }
        const platform::simulated::FileNode* node = before_.drive.Find(row.place);
        if (node != nullptr && !node->isDirectory)
            row.size = node->size;
        if (node != nullptr || (row.verdict != Verdict::Kept && row.verdict != Verdict::LeftAlone))
            return;
        if (row.verdict == Verdict::Kept)
            row.reason += u"; its package is not there";
        row.verdict = Verdict::NotThere;
    }

    /// Rows whose paths are the same file in different spellings: what became of it became of them
    /// all.
    void JoinSpellings() {
        std::unordered_map<std::u16string, std::vector<std::size_t>> files;
        for (std::size_t i = 0; i < table_.rows.size(); ++i) {
            if (!table_.rows[i].place.empty())
                files[table_.rows[i].place].push_back(i);
        }
        for (const auto& [place, spellings] : files) {
            const auto decisive = std::min_element(
                spellings.begin(), spellings.end(), [this](std::size_t a, std::size_t b) {
                    return table_.rows[a].verdict < table_.rows[b].verdict;
                });
            const PackageRow& deciding = table_.rows[*decisive];
            for (const std::size_t i : spellings) {
                PackageRow& row = table_.rows[i];
                row.isCounted = i == *decisive;
                if (!row.isCounted && IsGoing(deciding.verdict)) {
                    row.verdict = deciding.verdict;
                    row.reason += u"; but it went under the spelling " + deciding.path;
                }
            }
        }
    }

    const RunRecord& record_;
    const Machine& before_;
    const saltrove::NativeLocale locale_;
    PackageTable table_;
    std::unordered_map<std::u16string, std::size_t> places_;  ///< of rows, by path in lower case
    std::unordered_set<std::u16string> told_;                 ///< the patches that have a row
};

}  // namespace

PackageTable BuildPackageTable(const RunRecord& record, const Machine& before) {
    return TableBuilder(record, before).Build();
}

std::u16string LocateFile(std::u16string_view path) {
    for (const std::u16string_view prefix : {u"\\\\?\\", u"\\\\.\\"}) {
        if (path.starts_with(prefix))
            path.remove_prefix(prefix.size());
    }
    const auto place = platform::simulated::ResolvePath(path);
    return platform::simulated::FoldCase(place.value_or(u""));
}

bool IsGoing(Verdict verdict) {
    return verdict == Verdict::Deleted || verdict == Verdict::AtRestart;
}

namespace {

struct Words {
    std::string_view name;
    std::string_view label;
};

Words GetWords(Verdict verdict) {
    switch (verdict) {
    case Verdict::Deleted:
        return {"deleted", "Deleted"};
    case Verdict::AtRestart:
        return {"at-restart", "Goes at the next restart"};
    case Verdict::Failed:
        return {"failed", "Could not be removed"};
    case Verdict::Kept:
        return {"kept", "Kept"};
    case Verdict::LeftAlone:
        return {"left-alone", "Left alone"};
    case Verdict::NotThere:
        break;
    }
    return {"not-there", "Not there"};
}

Words GetWords(PackageKind kind) {
    switch (kind) {
    case PackageKind::Patch:
        return {"patch", "patch of the product"};
    case PackageKind::OtherProduct:
        return {"other-product", "linked by another product"};
    case PackageKind::Orphan:
        return {"orphan", "orphan"};
    case PackageKind::Foreign:
        return {"foreign", "foreign package"};
    case PackageKind::NoPackage:
        return {"no-package", "no package"};
    case PackageKind::Folder:
        return {"folder", "folder"};
    case PackageKind::Unread:
        break;
    }
    return {"unread", "patch without a path"};
}

}  // namespace

std::string_view GetVerdictName(Verdict verdict) {
    return GetWords(verdict).name;
}

std::string_view GetVerdictLabel(Verdict verdict) {
    return GetWords(verdict).label;
}

std::string_view GetKindName(PackageKind kind) {
    return GetWords(kind).name;
}

std::string_view GetKindLabel(PackageKind kind) {
    return GetWords(kind).label;
}

}  // namespace replay
