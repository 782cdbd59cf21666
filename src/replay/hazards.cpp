#include "replay/hazards.h"

#include "inventory/lower_case.h"
#include "platform/simulated/machine/installer_tree.h"
#include "platform/simulated/machine/pending_renames.h"
#include "platform/simulated/texts/letter_case.h"
#include "platform/simulated/texts/short_name.h"
#include "platform/wide_text.h"
#include "replay/reasons.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <utility>

namespace replay {

namespace {

using platform::EqualsIgnoringAsciiCase;
using platform::FormatDecimal;
using platform::simulated::FoldCase;
using platform::simulated::Registry;
using saltrove::EnumeratedPatch;
using saltrove::LinkedPatch;
using saltrove::PatchDecision;

/// A subject and a message.
using Finding = std::pair<std::u16string, std::u16string>;
using Findings = std::vector<Finding>;

bool EndsEarly(platform::UINT end) {
    return end != platform::ERROR_NO_MORE_ITEMS;
}

std::u16string Quote(const std::u16string& text) {
    return u"\"" + text + u"\"";
}

/// The rows of cache entries that counted as orphans and are known as packages of the product.
std::vector<const PackageRow*> FindLostPatches(const HazardSources& sources) {
    std::vector<const PackageRow*> lost;
    for (const PackageRow& row : sources.table.rows) {
        if (row.kind == PackageKind::Orphan && !row.patchCode.empty())
            lost.push_back(&row);
    }
    return lost;
}

Findings FindEarlyEnd(const HazardSources& sources) {
    const platform::UINT end = sources.record.orphans->linked.gaps.end;
    if (!EndsEarly(end))
        return {};
    const std::u16string ending =
        u"The list of all products ended early (error " + FormatDecimal(end) + u"). ";
    Findings findings;
    for (const PackageRow* row : FindLostPatches(sources))
        findings.emplace_back(
            row->file, ending + row->file + u" is a linked patch of this product (" +
                           row->patchCode + u", " + row->state + u") and counts as an orphan.");
    if (findings.empty())
        findings.emplace_back(u"", ending + u"Packages that are linked behind that place count as "
                                            u"unlinked.");
    return findings;
}

Findings FindPatchesMissingFromList(const HazardSources& sources) {
    Findings findings;
    if (EndsEarly(sources.record.orphans->linked.gaps.end))
        return findings;
    for (const PackageRow* row : FindLostPatches(sources))
        findings.emplace_back(row->file, row->file + u" is a linked patch of this product (" +
                                             row->patchCode + u", " + row->state +
                                             u"), but the list of all products does not name its "
                                             u"package, so that it counts as an orphan.");
    return findings;
}

Findings FindEarlyEndOfProduct(const HazardSources& sources) {
    const platform::UINT end = sources.record.linked->gaps.end;
    if (!EndsEarly(end))
        return {};
    return {{u"", u"The list of this product's patches ended early (error " + FormatDecimal(end) +
                      u"): patches behind that place were not evaluated."}};
}

Findings FindUnreadPaths(const HazardSources& sources) {
    std::set<std::u16string> subjects;
    for (const auto* gaps : {&sources.record.linked->gaps, &sources.record.orphans->linked.gaps}) {
        for (const EnumeratedPatch& patch : gaps->withoutPath)
            subjects.insert(DescribePatch(patch));
    }
    Findings findings;
    for (const std::u16string& subject : subjects)
        findings.emplace_back(subject, u"The LocalPackage of " + subject +
                                           u" cannot be read: its package, wherever it lies, "
                                           u"counts as unlinked.");
    return findings;
}

/// A package that the registry names, and where.
struct Registration {
    std::u16string account;
    std::u16string packedPatch;
};

/// The packages of the patches in the registry, of every account, by their places.
std::multimap<std::u16string, Registration> FindRegistrations(const Registry& registry) {
    std::multimap<std::u16string, Registration> registrations;
    const std::u16string userData = std::u16string(platform::simulated::kUserDataKey) + u"\\";
    for (const auto& account : registry.GetKeys().GetNames(platform::simulated::kUserDataKey)) {
        const std::u16string patches = userData + account + u"\\Patches";
        for (const auto& patch : registry.GetKeys().GetNames(patches)) {
            const auto* value = registry.FindValue(
                std::u16string(patches).append(u"\\").append(patch), u"LocalPackage");
            if (value != nullptr && value->type == platform::REG_SZ)
                registrations.emplace(LocateFile(platform::simulated::GetText(value->data)),
                                      Registration{account, patch});
        }
    }
    return registrations;
}

bool IsOfMachine(const Registration& registration) {
    return EqualsIgnoringAsciiCase(registration.account, platform::simulated::kMachineAccount);
}

Findings FindOtherUsersPatches(const HazardSources& sources) {
    const auto registrations = FindRegistrations(sources.before.registry);
    Findings findings;
    for (const PackageRow& row : sources.table.rows) {
        const auto [first, last] = registrations.equal_range(row.place);
        const auto user =
            std::find_if(first, last, [](const auto& found) { return !IsOfMachine(found.second); });
        if (user != last && !row.place.empty() && IsGoing(row.verdict))
            findings.emplace_back(
                row.file, row.file +
                              u" is the package of a patch in the installation of the user " +
                              user->second.account +
                              u". Links of the machine's installations alone are asked "
                              u"for, so that nothing keeps it for that one.");
    }
    return findings;
}

/// Orphans that the registry knows as packages, though Windows Installer tells of no such link: the
/// patch's state, its product or half of their keys are missing.
Findings FindUntoldPackages(const HazardSources& sources) {
    const auto registrations = FindRegistrations(sources.before.registry);
    std::set<std::u16string> told;
    for (const LinkedPatch& link : sources.record.orphans->linked.patches)
        told.insert(LocateFile(link.path));
    Findings findings;
    for (const PackageRow& row : sources.table.rows) {
        const auto [first, last] = registrations.equal_range(row.place);
        const auto own =
            std::find_if(first, last, [](const auto& found) { return IsOfMachine(found.second); });
        if (own != last && row.kind == PackageKind::Orphan && row.patchCode.empty() &&
            !told.contains(row.place))
            findings.emplace_back(
                row.file, row.file + u" stands in the registry as the package of the patch " +
                              own->second.packedPatch +
                              u" (packed code), but Windows Installer names it for no product: "
                              u"keys or the state of that patch are missing. It counts as an "
                              u"orphan.");
    }
    return findings;
}

Findings FindSharedPackages(const HazardSources& sources) {
    std::multimap<std::u16string, const EnumeratedPatch*> links;  // by the place of the package
    for (const LinkedPatch& link : sources.record.orphans->linked.patches)
        links.emplace(LocateFile(link.path), &link.patch);
    Findings findings;
    for (const PackageRow& row : sources.table.rows) {
        if (!IsGoing(row.verdict) || row.patchCode.empty() || row.place.empty())
            continue;
        std::u16string others;
        const auto [first, last] = links.equal_range(row.place);
        for (auto link = first; link != last; ++link) {
            if (!EqualsIgnoringAsciiCase(link->second->patchCode, row.patchCode) ||
                !EqualsIgnoringAsciiCase(link->second->targetProductCode, row.productCode))
                others += (others.empty() ? u"" : u", ") + DescribePatch(*link->second);
        }
        if (!others.empty())
            findings.emplace_back(row.file, row.file + u" goes for " + row.patchCode +
                                                u" of this product, and is also the package of " +
                                                others + u".");
    }
    return findings;
}

/// A patch that was superseded by one that can be uninstalled is applied again when that happens.
Findings FindPatchesNeededAgain(const HazardSources& sources) {
    const saltrove::LinkedPhase& phase = *sources.record.linked;
    const std::u16string& last = phase.plan.boundaries.lastCumulative;
    Findings findings;
    for (const PatchDecision& decision : phase.patches) {
        const saltrove::PatchRecord& patch = decision.patch;
        const auto state = static_cast<platform::DWORD>(patch.state);
        const bool canComeBack = state == platform::MSIPATCHSTATE_SUPERSEDED ||
                                 state == platform::MSIPATCHSTATE_OBSOLETED;
        const bool isAbove =
            last.empty() || saltrove::CompareVersionNumbers(patch.versionNumber, last) > 0;
        if (!saltrove::IsTakenAway(decision.outcome) || !canComeBack || !isAbove)
            continue;
        const std::u16string file(platform::GetFileName(patch.localPackage));
        findings.emplace_back(
            file, file + u" (" + patch.versionNumber + u") is " +
                      saltrove::PatchStateName(patch.state) +
                      (last.empty() ? u", and there is no last cumulative patch below it"
                                    : u" and lies above the last cumulative patch " + last) +
                      u". When the patch that took its place is uninstalled, it is applied again, "
                      u"and its package is gone.");
    }
    return findings;
}

Findings FindPendingDeletions(const HazardSources& sources) {
    std::set<std::u16string> pending;
    for (const auto& rename : platform::simulated::ReadPendingRenames(sources.before.registry)) {
        pending.insert(LocateFile(rename.path));
    }
    Findings findings;
    for (const PackageRow& row : sources.table.rows) {
        if (row.isCounted && !row.place.empty() && pending.contains(row.place))
            findings.emplace_back(row.file,
                                  u"That " + row.file +
                                      u" is deleted or moved at the next restart was registered "
                                      u"before this run: it goes then, whatever was decided now.");
    }
    return findings;
}

Findings FindMarks(const HazardSources& sources) {
    Findings findings;
    for (const PackageRow& row : sources.table.rows) {
        if (row.verdict == Verdict::AtRestart && row.isCounted)
            findings.emplace_back(row.file,
                                  row.file + u" goes at the next restart, and nothing looks at "
                                             u"that again: if it is needed anew by then, it goes "
                                             u"all the same.");
    }
    return findings;
}

/// The numbers of the first dotted version in a text; none if it holds no such thing.
std::vector<std::uint64_t> FindVersion(std::u16string_view text) {
    constexpr std::u16string_view kDigits = u"0123456789";
    std::vector<std::uint64_t> numbers;
    while (numbers.size() < 2 && text.find_first_of(kDigits) != std::u16string_view::npos) {
        numbers.clear();
        text.remove_prefix(text.find_first_of(kDigits));
        for (bool goesOn = true; goesOn;) {
            const std::size_t length = std::min(text.find_first_not_of(kDigits), text.size());
            numbers.push_back(0);
            for (const char16_t digit : text.substr(0, std::min<std::size_t>(length, 18)))
                numbers.back() = numbers.back() * 10 + (digit - u'0');
            text.remove_prefix(length);
            goesOn = text.size() > 1 && text[0] == u'.' &&
                     kDigits.find(text[1]) != std::u16string_view::npos;
            text.remove_prefix(goesOn ? 1 : 0);
        }
    }
    return numbers.size() < 2 ? std::vector<std::uint64_t>() : numbers;
}

/// Windows Installer copies a package first and writes down later what it belongs to.
Findings FindNewerOrphans(const HazardSources& sources) {
    const auto current = FindVersion(sources.record.productVersion);
    Findings findings;
    if (current.empty())
        return findings;
    for (const PackageRow& row : sources.table.rows) {
        if (row.kind == PackageKind::Orphan && row.patchCode.empty() &&
            FindVersion(row.description) > current)
            findings.emplace_back(row.file, row.file + u" calls itself " + Quote(row.description) +
                                                u", which is above the product's version " +
                                                sources.record.productVersion +
                                                u": it may be of an update that is just being "
                                                u"installed.");
    }
    return findings;
}

/// The findings that concern the names of the product's packages; `describe` gives the message for
/// a patch, or an empty text.
template <typename Describe>
Findings FindAmongPatches(const HazardSources& sources, Describe describe) {
    Findings findings;
    for (const PatchDecision& decision : sources.record.linked->patches) {
        const std::u16string message = describe(decision.patch, decision.outcome);
        if (!message.empty())
            findings.emplace_back(platform::GetFileName(decision.patch.localPackage), message);
    }
    return findings;
}

Findings FindIncrementalInCapitals(const HazardSources& sources) {
    return FindAmongPatches(
        sources, [](const saltrove::PatchRecord& patch, auto) -> std::u16string {
            if (saltrove::IsIncrementalPackage(patch.packageName) ||
                FoldCase(patch.packageName).find(u"_INCR") == std::u16string::npos)
                return {};
            return u"The package name " + Quote(patch.packageName) +
                   u" has \"_incr\" in capitals, which counts as cumulative.";
        });
}

/// Whether a name holds more than one place from which ten digits can be read.
bool IsNumberAmbiguous(std::u16string_view name) {
    std::size_t places = 0;
    std::size_t digits = 0;
    for (const char16_t character : name) {
        digits = character >= u'0' && character <= u'9' ? digits + 1 : 0;
        places += digits >= 10 ? 1 : 0;
    }
    return places > 1;
}

Findings FindAmbiguousNumbers(const HazardSources& sources) {
    return FindAmongPatches(
        sources, [](const saltrove::PatchRecord& patch, auto) -> std::u16string {
            if (!IsNumberAmbiguous(patch.packageName))
                return {};
            return u"The package name " + Quote(patch.packageName) +
                   u" holds more than one place with ten digits: " + patch.versionNumber +
                   u", the first, may be the wrong number.";
        });
}

Findings FindUnreadStates(const HazardSources& sources) {
    return FindAmongPatches(
        sources, [](const saltrove::PatchRecord& patch, auto outcome) -> std::u16string {
            if (!saltrove::PatchStateName(patch.state).starts_with(u"Unknown"))
                return {};
            return u"The state of " + patch.patchCode +
                   (patch.state == 0
                        ? u" could not be read"
                        : u" is " + FormatDecimal(patch.state) + u", which is none of the four") +
                   u": it counts as not applied" +
                   (saltrove::IsTakenAway(outcome) ? u", and its package goes." : u".");
        });
}

Findings FindShortNamesOnly(const HazardSources& sources) {
    Findings findings;
    for (const saltrove::CacheEntry& entry : sources.record.orphans->entries) {
        if (!FoldCase(entry.fileName).ends_with(u".MSP"))
            findings.emplace_back(entry.fileName, entry.fileName +
                                                      u" does not end in \".msp\": the search "
                                                      u"meets it by its short name alone, and only "
                                                      u"on a volume that has short names.");
    }
    return findings;
}

/// Whether the last name of a path is what the short name of a file may be: its number is not
/// known.
bool MayBeShortNameOf(std::u16string_view path, const std::u16string& longName) {
    const std::u16string name = FoldCase(platform::GetFileName(path));
    const std::u16string shortName = FoldCase(platform::simulated::MakeShortName(longName));
    const std::size_t tilde = name.find(u'~');
    return tilde != std::u16string::npos && tilde == shortName.find(u'~') &&
           name.substr(0, tilde) == shortName.substr(0, tilde) &&
           name.substr(std::min(name.rfind(u'.'), name.size())) ==
               shortName.substr(std::min(shortName.rfind(u'.'), shortName.size()));
}

Findings FindOtherSpellings(const HazardSources& sources) {
    const saltrove::NativeLocale locale;
    std::deque<LinkedPatch> links = sources.record.orphans->linked.patches;
    for (const PatchDecision& decision : sources.record.linked->patches)
        links.push_back(
            {{decision.patch.patchCode, sources.record.productCode}, decision.patch.localPackage});
    std::map<std::u16string, std::u16string> files;  // the names of entries by their place
    for (const saltrove::CacheEntry& entry : sources.record.orphans->entries)
        files[LocateFile(std::u16string(saltrove::kInstallerCache) + entry.fileName)] =
            entry.fileName;
    std::set<Finding> findings;
    for (const LinkedPatch& link : links) {
        const auto add = [&](const std::u16string& file) {
            findings.emplace(file, u"The LocalPackage of " + link.patch.patchCode +
                                       u" writes the path of " + file + u" in another way, " +
                                       Quote(link.path) + u", which does not count as a link.");
        };
        const std::u16string place = LocateFile(link.path);
        const auto exact = files.find(place);
        if (exact != files.end() &&
            saltrove::LowerCaseCopy(link.path, locale) !=
                saltrove::LowerCaseCopy(std::u16string(saltrove::kInstallerCache) + exact->second,
                                        locale))
            add(exact->second);
        if (exact != files.end() || place.find(u'~') == std::u16string::npos)
            continue;
        for (const auto& [at, file] : files) {
            if (MayBeShortNameOf(place, file))
                add(file);
        }
    }
    return {findings.begin(), findings.end()};
}

Findings FindOtherWindowsFolders(const HazardSources& sources) {
    const std::u16string place = LocateFile(saltrove::kInstallerCache);
    Findings findings;
    const std::u16string& windows = sources.before.windowsDirectory;
    if (!windows.empty() && LocateFile(windows + u"\\Installer") != place)
        findings.emplace_back(windows, u"The Windows folder is " + windows +
                                           u": the cache that is looked at is " +
                                           std::u16string(saltrove::kInstallerCache) + u".");
    std::set<std::u16string> caches;
    sources.before.drive.GetNodes().Walk([&](const std::u16string& path, const auto& /*node*/) {
        const std::u16string_view name = platform::GetFileName(path);
        const std::u16string folder = path.substr(0, path.size() - name.size() - 1);
        if (FoldCase(path).ends_with(u".MSP") && FoldCase(folder).ends_with(u"\\INSTALLER") &&
            LocateFile(folder) != place &&
            LocateFile(folder) != LocateFile(windows + u"\\Installer"))
            caches.insert(folder);
    });
    for (const std::u16string& cache : caches)
        findings.emplace_back(cache, cache + u" holds packages as well: only " +
                                         std::u16string(saltrove::kInstallerCache) +
                                         u" is looked at.");
    return findings;
}

Findings FindFailedRemovals(const HazardSources& sources) {
    Findings findings;
    const auto add = [&](std::u16string_view path, std::optional<saltrove::RemovalOutcome> outcome,
                         const saltrove::RemovalErrors& errors) {
        if (!outcome || saltrove::IsTakenAway(outcome))
            return;
        const std::u16string file(platform::GetFileName(path));
        const std::u16string mark = errors.mark == 0
                                        ? u""
                                        : u", and error " + FormatDecimal(errors.mark) +
                                              u" at its registration for the next restart";
        findings.emplace_back(file, file + u" was to be removed and is still there: error " +
                                        FormatDecimal(errors.deletion) + mark + u".");
    };
    for (const PatchDecision& decision : sources.record.linked->patches)
        add(decision.patch.localPackage, decision.outcome, decision.errors);
    for (const saltrove::CacheEntry& entry : sources.record.orphans->entries)
        add(entry.fileName, entry.outcome, entry.errors);
    return findings;
}

Findings FindUnknownCodePages(const HazardSources& sources) {
    Findings findings;
    for (const auto& package : sources.undecodedPackages) {
        const std::u16string file(platform::GetFileName(package.path));
        findings.emplace_back(file, file + u" is in the code page " +
                                        FormatDecimal(package.codePage) +
                                        u", which is not known here: Windows may be able to read "
                                        u"its description, and the run then goes by that.");
    }
    return findings;
}

struct HazardRule {
    std::string_view name;
    Findings (*find)(const HazardSources&);
};

constexpr HazardRule kRules[] = {
    {"list-ended-early", FindEarlyEnd},
    {"patch-missing-from-list", FindPatchesMissingFromList},
    {"product-list-ended-early", FindEarlyEndOfProduct},
    {"path-unreadable", FindUnreadPaths},
    {"registered-but-unlinked", FindUntoldPackages},
    {"linked-for-another-user", FindOtherUsersPatches},
    {"package-shared", FindSharedPackages},
    {"needed-after-uninstall", FindPatchesNeededAgain},
    {"newer-orphan", FindNewerOrphans},
    {"deletion-pending", FindPendingDeletions},
    {"mark-stays", FindMarks},
    {"incr-in-capitals", FindIncrementalInCapitals},
    {"number-ambiguous", FindAmbiguousNumbers},
    {"state-unreadable", FindUnreadStates},
    {"short-name-only", FindShortNamesOnly},
    {"other-spelling", FindOtherSpellings},
    {"other-windows-folder", FindOtherWindowsFolders},
    {"removal-failed", FindFailedRemovals},
    {"code-page-unknown", FindUnknownCodePages},
};

}  // namespace

std::vector<Hazard> FindHazards(const HazardSources& sources) {
    std::vector<Hazard> hazards;
    for (const HazardRule& rule : kRules) {
        for (Finding& finding : rule.find(sources))
            hazards.push_back({rule.name, std::move(finding.first), std::move(finding.second)});
    }
    return hazards;
}

std::vector<std::string_view> GetHazardNames() {
    std::vector<std::string_view> names;
    for (const HazardRule& rule : kRules)
        names.push_back(rule.name);
    return names;
}

}  // namespace replay
