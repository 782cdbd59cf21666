#include "replay/reasons.h"

#include "platform/wide_text.h"

namespace replay {

namespace {

using platform::FormatDecimal;
using saltrove::Boundaries;
using saltrove::CacheEntry;
using saltrove::EntryKind;
using saltrove::ExitState;
using saltrove::Fate;
using saltrove::PackageStep;
using saltrove::PatchDecision;
using saltrove::RemovalErrors;
using saltrove::RemovalOutcome;
using saltrove::SkipReason;

/// The rules of preservation turned around.
std::u16string DescribeNotNeeded(const Boundaries& boundaries) {
    const std::u16string text = u"not applied, ";
    const std::u16string& last = boundaries.lastCumulative;
    if (boundaries.currentType == saltrove::kIncremental)
        return text + u"neither the highest number " + boundaries.latestOverall +
               u" nor the base " + last +
               u", and no incremental patch above that and up to the current " +
               boundaries.currentNumber;
    if (last.empty())
        return text + u"not the highest number " + boundaries.latestOverall +
               u", and there is no last cumulative patch";
    return text + u"and neither the highest number " + boundaries.latestOverall +
           u" nor the last cumulative " + last;
}

/// What happened at a removal, to be put behind its reason.
std::u16string DescribeRemoval(std::optional<RemovalOutcome> outcome, const RemovalErrors& errors) {
    std::u16string deletion =
        u"; it could not be deleted (error " + FormatDecimal(errors.deletion) + u")";
    if (outcome == RemovalOutcome::Marked)
        return deletion + u", so it goes at the next restart";
    if (outcome == RemovalOutcome::DeleteFailed)
        return deletion;
    if (outcome == RemovalOutcome::MarkFailed)
        return deletion + u", nor registered for the next restart (error " +
               FormatDecimal(errors.mark) + u")";
    return {};
}

std::u16string DescribeFailure(const saltrove::PackageFailure& failure) {
    const std::u16string error = u"error " + FormatDecimal(failure.error);
    switch (failure.step) {
    case PackageStep::Open:
        return u"no package: " + error + u" when opened";
    case PackageStep::Query:
        return u"no package with metadata: " + error + u" when asked for them";
    case PackageStep::Execute:
        return u"no package with metadata: " + error + u" when they were read";
    }
    return {};
}

}  // namespace

std::u16string_view DescribeSkip(std::optional<SkipReason> reason) {
    switch (reason.value_or(SkipReason::UnknownType)) {
    case SkipReason::UnknownType:
        return u"no applied patch of the product's version tells its type";
    case SkipReason::NoCurrentPatch:
        return u"no applied patch has the product's version";
    case SkipReason::NoCurrentNumber:
        return u"the applied patch of the product's version has no number";
    case SkipReason::NoBase:
        return u"the product stands on an incremental patch, and no cumulative patch of another "
               u"version is there to be its base";
    }
    return {};
}

std::u16string DescribePatch(const saltrove::EnumeratedPatch& patch) {
    return patch.patchCode + u" of " + patch.targetProductCode;
}

std::u16string DescribeDecision(const PatchDecision& decision, const saltrove::Plan& plan) {
    const Boundaries& boundaries = plan.boundaries;
    switch (decision.fate) {
    case Fate::KeepUndecided:
        return u"nothing was decided, since " + std::u16string(DescribeSkip(plan.skip));
    case Fate::KeepApplied:
        return u"applied: the product stands on it";
    case Fate::KeepNoNumber:
        if (decision.patch.packageName.empty())
            return u"its package name could not be read, so that it has no place in any order";
        return u"its package name \"" + decision.patch.packageName +
               u"\" holds no ten digits, so that it has no place in any order";
    case Fate::KeepLatest:
        return u"highest number of all, kept as backup";
    case Fate::KeepLastCumulative:
        return u"it has the number of the last cumulative patch of another version than the "
               u"product's";
    case Fate::KeepBase:
        return u"base of the incremental patches: it has the number of the last cumulative patch "
               u"of "
               u"another version than the product's";
    case Fate::KeepBetween:
        return u"incremental, above the base " + boundaries.lastCumulative +
               u" and not above the current " + boundaries.currentNumber;
    case Fate::LeaveOutsideCache:
        if (decision.patch.localPackage.empty())
            return u"not needed, but Windows Installer names no package of it";
        return u"not needed, but its path is not one of the cache folder";
    case Fate::LeaveNotPresent:
        return u"not needed, and its package is not there";
    case Fate::Remove:
        return DescribeNotNeeded(boundaries) + DescribeRemoval(decision.outcome, decision.errors);
    }
    return {};
}

std::u16string DescribeEntry(const CacheEntry& entry, const saltrove::LinkedList& linked) {
    std::u16string text = u"no product links to it";
    if (linked.gaps.end != platform::ERROR_NO_MORE_ITEMS)
        text = u"the list of all products, which ended early (error " +
               FormatDecimal(linked.gaps.end) + u"), does not link to it";
    switch (entry.kind) {
    case EntryKind::Folder:
        return u"a folder";
    case EntryKind::Linked:
        return u"linked by " + DescribePatch(linked.patches.at(entry.link.value_or(0)).patch);
    case EntryKind::NoPackage:
        return DescribeFailure(entry.failure.value_or(saltrove::PackageFailure{}));
    case EntryKind::Foreign:
        return text + (entry.description.empty()
                           ? u", but it has no description"
                           : u", but its description does not name the family");
    case EntryKind::Orphan:
        return text + u", and its description names the family" +
               DescribeRemoval(entry.outcome, entry.errors);
    }
    return {};
}

std::u16string DescribeBoundaries(const Boundaries& boundaries) {
    return u"The product stands on " + boundaries.currentNumber + u" (" +
           std::u16string(boundaries.currentType) +
           u"); last cumulative patch of another version: " +
           (boundaries.lastCumulative.empty() ? u"none" : boundaries.lastCumulative) +
           u"; highest number of all: " + boundaries.latestOverall + u".";
}

std::u16string DescribeEnding(const saltrove::RunRecord& record, int exitCode) {
    if (exitCode != 0)
        return u"The run was given a wrong number of arguments and looked at nothing: it takes a "
               u"product code and a version, and may be told to simulate.";
    if (!record.exitState)
        return u"A run with \"usercontext\" only sets the user's marker and looks at no package.";
    const std::u16string refused = u"The run was refused: ";
    switch (*record.exitState) {
    case ExitState::Success:
        return record.simulate ? u"The run was a simulation and went to its end."
                               : u"The run went to its end.";
    case ExitState::MsiUnavailable:
        return u"The run found no usable Windows Installer (msi.dll or one of the two calls that "
               u"it needs cannot be had) and looked at no package.";
    case ExitState::DisabledByPolicy:
        return refused + u"machine policy forbids the cleanup.";
    case ExitState::CleanupTooRecent:
        return refused + u"the last cleanup was less than 90 days ago.";
    case ExitState::NotInSample:
        return refused + u"the machine is outside the sample.";
    case ExitState::OnlyIncrementalPatches:
        return u"The run gave up before it touched anything: " +
               std::u16string(
                   DescribeSkip(record.linked ? record.linked->plan.skip : std::nullopt)) +
               u".";
    }
    return {};
}

}  // namespace replay
