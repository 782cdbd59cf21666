#include "support/run_promises.h"

#include "cleanup/package_removal.h"
#include "image/reg_file.h"
#include "log/run_log.h"
#include "platform/simulated/machine/installer_tree.h"
#include "platform/simulated/machine/pending_renames.h"
#include "platform/simulated/texts/letter_case.h"
#include "platform/simulated/texts/unicode.h"
#include "platform/wide_text.h"
#include "product/cleanup_key.h"
#include "product/eligibility.h"
#include "product/product_track.h"
#include "records/current_patch.h"
#include "replay/explanation.h"
#include "support/machines.h"

#include <algorithm>

namespace test {

namespace {

using platform::simulated::CallRecord;
using platform::simulated::EncodeUtf8;
using platform::simulated::FoldCase;
using platform::simulated::kPendingRenamesKey;
using replay::LocateFile;
using replay::Verdict;
using saltrove::ExitState;
using Places = std::set<std::u16string>;

/// Broken promises as they are found.
class Findings {
  public:
    void Expect(bool isKept, const std::string& promise, std::u16string_view subject = {}) {
        if (isKept)
            return;
        lines_ += "broken: " + promise;
        lines_ += subject.empty() ? "\n" : ": " + EncodeUtf8(subject) + "\n";
    }
    void ExpectSame(const Places& a, const Places& b, const std::string& promise) {
        for (const std::u16string& place : a)
            Expect(b.contains(place), promise, place);
        for (const std::u16string& place : b)
            Expect(a.contains(place), promise, place);
    }
    std::string lines_;
};

void AskFor(std::vector<std::u16string>& asked, const std::u16string& path) {
    std::u16string place = LocateFile(path);
    if (std::find(asked.begin(), asked.end(), place) == asked.end())
        asked.push_back(std::move(place));
}

/// Both phases' removals in a simulation, in order.
void CollectSimulated(const saltrove::RunRecord& record, std::vector<std::u16string>& asked) {
    if (record.linked) {
        for (const auto& patch : record.linked->patches)
            if (patch.outcome)
                AskFor(asked, patch.patch.localPackage);
    }
    if (record.orphans) {
        for (const auto& entry : record.orphans->entries)
            if (entry.outcome)
                AskFor(asked, std::u16string(saltrove::kInstallerCache) + entry.fileName);
    }
}

/// The files that a run may touch: what the search for packages delivers, which goes by the first
/// three characters of an extension, and what a patch of its product names in the cache folder.
bool MayTouch(const Machine& before, const std::u16string& product, const std::u16string& place) {
    const std::u16string cache = FoldCase(saltrove::kInstallerCache);
    const std::u16string name(platform::GetFileName(place));
    if (place == cache + name && name.substr(name.rfind(u'.') + 1).starts_with(u"MSP"))
        return true;
    platform::simulated::InstallerTree installer;
    platform::simulated::InstallerTree::Delivery patch;
    for (std::size_t i = 0; installer.Enumerate(before.registry, product.c_str(),
                                                platform::MSIPATCHSTATE_ALL, i, patch) == 0;
         ++i) {
        std::u16string path;
        (void)platform::simulated::InstallerTree::ReadProperty(
            before.registry, patch.patchCode, patch.productCode, u"LocalPackage", path);
        if (FoldCase(path).starts_with(cache) && LocateFile(path) == place)
            return true;
    }
    return false;
}

bool IsLog(std::u16string_view path) {
    return FoldCase(path) == FoldCase(saltrove::kRunLogPath);
}

void CheckDrive(const Machine& before, const FinishedRun& run, Findings& findings) {
    run.after.drive.GetNodes().Walk([&](const std::u16string& path, const auto& node) {
        const auto* old = before.drive.GetNodes().Find(path);
        const bool isSame =
            old != nullptr && old->bytes == node.bytes && old->isDirectory == node.isDirectory;
        findings.Expect(isSame || IsLog(path), "no file is made or written", path);
    });
    for (const auto* places : {&run.deleted, &run.marked}) {
        for (const std::u16string& place : *places) {
            const bool isAsked =
                std::find(run.asked.begin(), run.asked.end(), place) != run.asked.end();
            findings.Expect(isAsked && MayTouch(before, run.report.record.productCode, place),
                            "packages alone are touched", place);
        }
    }
}

/// The store is written alone, its ExitState once and behind everything else; or the marker alone.
void CheckRecords(const FinishedRun& run, Findings& findings) {
    const std::u16string product = run.report.record.productCode;
    const bool isMarker = !run.report.record.exitState && run.report.exitCode == 0;
    const std::u16string store =
        FoldCase(isMarker ? u"HKEY_USERS\\" + run.after.process.account + u"\\" +
                                saltrove::GetMarkerKeyPath(saltrove::GetProductRoot(product))
                          : kMachineHive + saltrove::GetCleanupKeyPath(product));
    std::u16string last;
    unsigned states = 0;
    for (const CallRecord& call : run.after.calls) {
        if (call.call != "RegSetValueExW")
            continue;
        last = platform::GetFileName(call.subject);
        states += last == u"ExitState" ? 1U : 0U;
        findings.Expect(FoldCase(call.subject) == store + u"\\" + FoldCase(last),
                        "the store alone is written", call.subject);
    }
    findings.Expect(states <= 1 && (states == 0 || last == u"ExitState"),
                    "ExitState is written once and behind all else");
    for (const image::ValueChange& change : run.report.changes.values)
        findings.Expect(FoldCase(change.keyPath) == store, "nothing else is changed",
                        change.keyPath);
    for (const std::u16string& key : run.report.changes.newKeys)
        findings.Expect(store.starts_with(FoldCase(key)) ||
                            FoldCase(kPendingRenamesKey).starts_with(FoldCase(key)),
                        "no other key is made", key);
}

/// A process is started by LocalSystem alone, once, at the end of a real run, for the marker of
/// another account; and a log that tells of one tells the truth.
void CheckLaunch(const FinishedRun& run, Findings& findings) {
    const saltrove::RunRecord& record = run.report.record;
    const std::u16string& account = run.after.process.account;
    const std::u16string& module = run.after.process.module;
    const auto& started = run.after.startedProcesses;
    const bool mayStart = account == platform::simulated::kMachineAccount && !record.simulate &&
                          record.exitState == ExitState::Success;
    findings.Expect(started.size() <= (mayStart ? 1U : 0U), "LocalSystem alone starts a process");
    for (const auto& process : started)
        findings.Expect(process.account != account &&
                            process.commandLine ==
                                module + u" " + record.productCode + u" usercontext",
                        "what is started sets the marker of another account");
    const auto isDeletion = [](const CallRecord& call) { return call.call == "DeleteFileW"; };
    const auto& calls = run.after.calls;
    const auto creation = std::find_if(calls.begin(), calls.end(), [](const CallRecord& call) {
        return call.call.starts_with("CreateProcess");
    });
    findings.Expect(std::none_of(creation, calls.end(), isDeletion), "it is started at the end");
    findings.Expect(!started.empty() || run.report.logBytes.find("Spawned") == std::string::npos,
                    "the log tells of a process that there is");
}

/// What is told of each file is what became of it.
void CheckExplanation(const Machine& before, const FinishedRun& run, Findings& findings) {
    const replay::Explanation told = replay::ExplainRun(before, run.report);
    Places deleted;
    Places marked;
    Places failed;
    Places rows;
    for (const replay::PackageRow& row : told.rows) {
        rows.insert(row.place);
        const auto* node = before.drive.Find(row.place);
        findings.Expect(node == nullptr || node->isDirectory || row.size == node->size,
                        "an explanation tells the size", row.path);
        if (row.verdict == Verdict::Deleted)
            deleted.insert(row.place);
        if (row.verdict == Verdict::AtRestart)
            marked.insert(row.place);
        if (row.verdict == Verdict::Failed)
            failed.insert(row.place);
    }
    if (told.basis == replay::Basis::Run) {
        findings.ExpectSame(deleted, run.deleted, "an explanation tells what was deleted");
        // A package may go under a second name behind the mark that it got under the first.
        Places waiting = run.marked;
        std::erase_if(waiting,
                      [&](const std::u16string& place) { return run.deleted.contains(place); });
        findings.ExpectSame(marked, waiting, "an explanation tells what goes at the restart");
        Places stays(run.asked.begin(), run.asked.end());
        std::erase_if(stays, [&](const std::u16string& place) {
            return run.deleted.contains(place) || run.marked.contains(place);
        });
        findings.ExpectSame(failed, stays, "an explanation tells what could not be removed");
    }
    if (told.basis == replay::Basis::Simulation)
        findings.ExpectSame(deleted, {run.asked.begin(), run.asked.end()},
                            "an explanation tells what would go");
    findings.Expect(told.basis != replay::Basis::Nothing || rows.empty(), "nothing is told of");
    if (told.basis == replay::Basis::Nothing || !run.isSearchWhole)
        return;
    for (const auto& name : before.drive.GetNodes().GetNames(u"C:\\Windows\\Installer")) {
        const std::u16string place = FoldCase(saltrove::kInstallerCache) + FoldCase(name);
        if (place.ends_with(u".MSP"))
            findings.Expect(rows.contains(place), "an explanation tells of every package", place);
    }
}

/// The machine when the deletions that wait for the restart have been carried out.
Machine Restart(Machine machine) {
    for (const auto& rename : platform::simulated::ReadPendingRenames(machine.registry))
        machine.drive.Remove(rename.path);
    machine.registry.RemoveValue(kPendingRenamesKey, platform::simulated::kPendingRenamesValue);
    return machine;
}

/// A machine on which no check refuses the run, where the product has a track.
Machine Force(Machine machine, const std::u16string& product) {
    if (const auto track = saltrove::GetProductTrack(product))
        machine.registry.SetDword(
            kMachineHive +
                saltrove::GetPolicyKeyPath(saltrove::GetProductFamilyKey(product), *track),
            saltrove::kPolicyValue, 1);
    return machine;
}

Machine WithLog(Machine machine, const std::u16string& product, bool isOn) {
    const std::u16string store = saltrove::GetCleanupKeyPath(product);
    if (!store.starts_with(u'\\'))
        machine.registry.SetDword(kMachineHive + store, saltrove::kRunLogSwitchValue, isOn ? 1 : 0);
    return machine;
}

Places JoinPlaces(const FinishedRun& run) {
    Places places = run.deleted;
    places.insert(run.marked.begin(), run.marked.end());
    return places;
}

/// What the log may not change, of two runs of which one has it.
void CompareLogged(const FinishedRun& logged, const FinishedRun& quiet, Findings& findings) {
    const std::u16string& product = logged.report.record.productCode;
    const auto format = [&](const FinishedRun& run) {
        return image::FormatRegFile(WithLog(run.after, product, false).registry);
    };
    findings.ExpectSame(logged.deleted, quiet.deleted, "the log changes no file");
    findings.Expect(logged.asked == quiet.asked, "the log changes no order");
    findings.Expect(format(logged) == format(quiet), "the log changes no value");
}

/// The place in another run's calls of the call at `place` of these: of the same name and subject,
/// behind as many of that kind. Nothing if it is not made there.
std::optional<std::size_t> FindSameCall(const std::vector<CallRecord>& calls, std::size_t place,
                                        const std::vector<CallRecord>& others) {
    const auto isSame = [&](const CallRecord& call) {
        return call.call == calls[place].call && call.subject == calls[place].subject;
    };
    auto before =
        std::count_if(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(place), isSame);
    const auto found = std::find_if(others.begin(), others.end(), [&](const CallRecord& call) {
        return isSame(call) && before-- == 0;
    });
    if (found == others.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - others.begin());
}

/// Whether a call is about one package alone.
bool IsAboutOnePackage(const CallRecord& call) {
    const bool isOfFile = call.call == "GetFileAttributesW" || call.call == "DeleteFileW" ||
                          call.call == "MoveFileExW" || call.call == "MsiOpenDatabaseW" ||
                          call.call == "MsiDatabaseOpenViewW" || call.call == "MsiViewExecute" ||
                          call.call == "MsiViewFetch" || call.call == "MsiRecordGetStringW";
    return isOfFile && call.subject != saltrove::kRunLogFolder;
}

}  // namespace

FinishedRun FinishRun(const Machine& machine, const std::vector<std::u16string>& arguments,
                      const std::optional<Fault>& fault) {
    FinishedRun run{.after = machine};
    run.after.recordsCalls = true;
    run.after.calls.clear();  // those of an earlier run
    run.after.callCounts.clear();
    if (fault) {
        run.after.faults.Add(*fault);
        run.isSearchWhole = !fault->call.empty() && !fault->call.starts_with("Find");
    }
    std::vector<std::u16string> commandLine = arguments;
    commandLine.insert(commandLine.begin(), machine.process.module);
    run.report = replay::RunProcess(run.after, commandLine);
    for (const image::RemovedFile& file : run.report.changes.removedFiles)
        run.deleted.insert(LocateFile(file.path));
    for (const std::u16string& path : run.report.changes.restartDeletions)
        run.marked.insert(LocateFile(path));
    if (run.report.record.simulate)
        CollectSimulated(run.report.record, run.asked);
    for (const CallRecord& call : run.after.calls) {
        if (call.call == "DeleteFileW")
            AskFor(run.asked, call.subject);
    }
    return run;
}

Fault MakeFault(const std::vector<CallRecord>& calls, std::size_t place, platform::DWORD code) {
    const std::string& name = calls[place].call;
    const auto number = static_cast<unsigned>(
        std::count_if(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(place) + 1,
                      [&](const CallRecord& call) { return call.call == name; }));
    return {name, u"", code, number, number};
}

std::string FindBrokenPromises(const Machine& before, const std::vector<std::u16string>& arguments,
                               const FinishedRun& run) {
    Findings findings;
    const replay::ProcessReport& report = run.report;
    const bool isUsage = arguments.size() != 2 && arguments.size() != 3;
    const bool isSimulated = arguments.size() == 3 && FoldCase(arguments[2]) == u"SIMULATE";
    findings.Expect(report.exitCode == (isUsage ? 1 : 0), "the exit code tells of usage alone");
    findings.Expect(report.leftOpen == 0, "nothing is left open");
    findings.Expect(report.badHandles == 0, "no handle is used that is not open");
    findings.Expect(run.after.CountCalls("_wfsopen") > 0 ||
                        run.after.CountCalls("GetLocalTime") == 0,
                    "nobody asks for the time where there is no log");
    const bool isRefused = report.record.exitState != ExitState::Success;
    const bool isTouched = !run.deleted.empty() || !run.marked.empty();
    findings.Expect(!isRefused || run.asked.empty(), "a run that was refused takes nothing");
    findings.Expect(!(isRefused || isSimulated) || !isTouched,
                    "a run that was refused or simulated touches nothing");
    CheckDrive(before, run, findings);
    CheckRecords(run, findings);
    CheckLaunch(run, findings);
    CheckExplanation(before, run, findings);
    return findings.lines_;
}

std::string FindBrokenPromisesBetweenRuns(const GeneratedMachine& generated) {
    std::vector<std::u16string> arguments = generated.arguments;
    if (arguments.size() < 2 || arguments.size() > 3)
        return {};
    Findings findings;
    const std::u16string product = arguments[0];
    const Machine forced = Force(generated.machine, product);
    arguments.resize(2);
    const FinishedRun real = FinishRun(forced, arguments);
    const FinishedRun simulated = FinishRun(forced, {product, arguments[1], u"simulate"});
    findings.Expect(real.asked == simulated.asked, "a simulation names what a run takes, in order");
    const FinishedRun plain = FinishRun(generated.machine, arguments);
    const FinishedRun named = FinishRun(generated.machine, {product, arguments[1], u"simulate"});
    findings.Expect(plain.asked == named.asked &&
                        plain.report.record.exitState == named.report.record.exitState,
                    "a simulation is refused where a run is");
    const FinishedRun again = FinishRun(real.after, arguments);
    for (const std::u16string& place : JoinPlaces(again))
        findings.Expect(real.marked.contains(place), "a second run removes nothing new", place);
    const FinishedRun late = FinishRun(Restart(real.after), arguments);
    findings.ExpectSame(JoinPlaces(late), {}, "a run behind the restart removes nothing");

    CompareLogged(FinishRun(WithLog(forced, product, true), arguments),
                  FinishRun(WithLog(forced, product, false), arguments), findings);
    return findings.lines_;
}

std::string FindBrokenPromisesBetweenFailingRuns(const GeneratedMachine& generated,
                                                 std::size_t first, std::size_t last) {
    if (generated.arguments.size() < 2 || generated.arguments.size() > 3)
        return {};
    Findings findings;
    const std::u16string product = generated.arguments[0];
    const std::vector<std::u16string> real = {product, generated.arguments[1]};
    const std::vector<std::u16string> simulation = {product, real[1], u"simulate"};
    const Machine withLog = WithLog(Force(generated.machine, product), product, true);
    const Machine withoutLog = WithLog(withLog, product, false);
    const FinishedRun logged = FinishRun(withLog, real);
    const FinishedRun quiet = FinishRun(withoutLog, real);
    const FinishedRun simulated = FinishRun(withLog, simulation);
    const auto& calls = logged.after.calls;
    for (std::size_t place = first; place < std::min(last, calls.size()); ++place) {
        const platform::DWORD code = GetPlausibleErrors(calls[place].call).back();
        // The same call of another run fails; nothing does where that run does not make it.
        const auto failIn = [&](const FinishedRun& other) -> std::optional<Fault> {
            const auto same = FindSameCall(calls, place, other.after.calls);
            return same ? std::optional(MakeFault(other.after.calls, *same, code)) : std::nullopt;
        };
        Findings found;
        const FinishedRun run = FinishRun(withLog, real, MakeFault(calls, place, code));
        CompareLogged(run, FinishRun(withoutLog, real, failIn(quiet)), found);
        // Of the search, only a real run's lacks what it has deleted.
        if (const auto fault = failIn(simulated); fault && fault->call != "FindNextFileW")
            found.Expect(run.asked == FinishRun(withLog, simulation, fault).asked,
                         "a simulation names what a run takes, in order");
        for (const std::u16string& taken : JoinPlaces(FinishRun(run.after, real)))
            found.Expect(std::find(logged.asked.begin(), logged.asked.end(), taken) !=
                             logged.asked.end(),
                         "no later run takes what one without a failing call keeps", taken);
        if (!found.lines_.empty())
            findings.lines_ += "when call " + std::to_string(place) + ", " +
                               DescribeCall(calls, place) + ", fails:\n" + found.lines_;
    }
    return findings.lines_;
}

std::string DescribeCall(const std::vector<CallRecord>& calls, std::size_t place) {
    const auto failed = calls.begin() + static_cast<std::ptrdiff_t>(place);
    const bool isLate = std::any_of(calls.begin(), failed + 1, [](const CallRecord& call) {
        return call.call == "MsiEnumPatchesExW" && call.subject.empty();
    });
    std::string text = (isLate ? "late " : "") + failed->call;
    if (failed->call.starts_with("Reg") || failed->call == "MsiGetPatchInfoExW")
        text += " " + EncodeUtf8(platform::GetFileName(failed->subject));
    return text;
}

std::span<const KnownLoss> GetKnownLosses() {
    static constexpr KnownLoss kLosses[] = {
        // A list of all products that lacks a needed package makes that an orphan.
        {"late MsiEnumPatchesExW", {3, 9, 6, 5, 11, 5, 2, 5}},
        {"late MsiGetPatchInfoExW LocalPackage", {3, 9, 6, 5, 11, 5, 2, 5}},
        // What is known of the product's own patches moves the boundaries.
        {"MsiEnumPatchesExW", {1, 0, 0, 1, 0, 0, 0, 0}},
        {"MsiGetPatchInfoExW DisplayName", {0, 2, 0, 1, 1, 1, 0, 0}},
        {"MsiGetPatchInfoExW LocalPackage", {1, 1, 1, 2, 0, 1, 0, 0}},
        {"MsiGetPatchInfoExW State", {1, 2, 0, 0, 2, 2, 0, 2}},
        {"RegOpenKeyExW SourceList", {1, 1, 1, 2, 0, 0, 0, 0}},
        {"RegQueryValueExW PackageName", {1, 1, 1, 2, 0, 0, 0, 0}},
        // A check that learns nothing refuses nothing.
        {"RegOpenKeyExW FeatureLockDown", {3, 0, 1, 0, 0, 0, 1, 1}},
        {"RegQueryValueExW PatchCleanFlag", {3, 0, 1, 0, 0, 0, 1, 1}},
        {"RegOpenKeyExW Cleanup", {0, 0, 0, 0, 0, 1, 1, 1}},
        {"RegQueryValueExW CleanupTime", {0, 0, 0, 0, 0, 1, 1, 1}},
        // What could not be deleted for another reason is in use now, and is marked.
        {"DeleteFileW", {1, 1, 1, 0, 2, 0, 0, 1}},
        {"late DeleteFileW", {1, 1, 2, 0, 2, 2, 0, 0}},
        // Letters beyond A to Z differ in capitals then.
        {"_create_locale", {0, 2, 0, 2, 1, 1, 0, 1}},
    };
    return kLosses;
}

bool IsKnownLoss(std::string_view kind) {
    const auto losses = GetKnownLosses();
    return std::any_of(losses.begin(), losses.end(),
                       [&](const KnownLoss& loss) { return loss.kind == kind; });
}

std::vector<platform::DWORD> GetPlausibleErrors(const std::string& call) {
    if (call.starts_with("Reg"))
        return {2, 5, 1018};
    if (call.starts_with("Msi"))
        return {234, 1605, 1610, 1627, 1635};
    if (call.starts_with("Find") || call == "GetFileAttributesW" || call == "DeleteFileW" ||
        call == "MoveFileExW")
        return {2, 5, 32};
    return {5};
}

std::string FindBrokenPromisesBehind(const GeneratedMachine& generated, const FinishedRun& without,
                                     const Fault& fault, std::size_t place,
                                     std::set<std::string>& losses) {
    const FinishedRun run = FinishRun(generated.machine, generated.arguments, fault);
    Findings findings;
    const Places went = JoinPlaces(without);
    for (const std::u16string& gone : JoinPlaces(run)) {
        if (!went.contains(gone))
            losses.insert(DescribeCall(without.after.calls, place));
    }
    const CallRecord& failed = without.after.calls[place];
    const bool isLink =
        DescribeCall(without.after.calls, place) == "late MsiGetPatchInfoExW LocalPackage";
    if (fault.first == fault.last && (isLink || IsAboutOnePackage(failed))) {
        std::u16string own = LocateFile(failed.subject);
        if (isLink) {
            for (const auto& link : without.report.record.orphans->linked.patches)
                if (failed.subject.starts_with(link.patch.patchCode))
                    own = LocateFile(link.path);
        }
        for (const auto& [a, b] : {std::pair(&run, &without), std::pair(&without, &run)})
            for (const std::u16string& other : JoinPlaces(*a))
                findings.Expect(other == own || JoinPlaces(*b).contains(other),
                                "a fault about one package is that package's alone", other);
    }
    const CallRecord& next = run.after.calls[std::min(place + 1, run.after.calls.size() - 1)];
    if (fault.first == fault.last && failed.call == "MsiEnumPatchesExW")
        findings.Expect(next.call != failed.call || next.numbers[2] != failed.numbers[2] + 1,
                        "a list ends where it fails");
    if (fault.first == fault.last && failed.call == "GetFileAttributesW") {
        findings.Expect(next.call != "DeleteFileW", "what is not seen stays", next.subject);
    }
    return findings.lines_ + FindBrokenPromises(generated.machine, generated.arguments, run);
}

}  // namespace test
