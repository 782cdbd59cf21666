#include "image/image.h"
#include "support/host_files.h"
#include "support/images.h"
#include "support/run_promises.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <numeric>
#include <random>

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kParts = 8;
/// The most patches of the product on a machine on which every call fails.
constexpr unsigned kSweptPatches = 5;

/// The machines of a part on which every call fails: sixteen from the beginning, one on which a
/// rare loss shows, and one on which packages are marked, or would go in a simulation.
constexpr std::uint64_t kSweptOfPart = 18;
std::uint64_t GetSweptSeed(std::uint64_t part, std::uint64_t number) {
    constexpr std::uint64_t kRare[kParts] = {803, 852, 1113, 1140, 1325, 219, 255, 317};
    constexpr std::uint64_t kTelling[kParts] = {252, 307, 146, 268, 132, 311, 347, 626};
    if (number == 16)
        return kRare[part];
    return number == 17 ? kTelling[part] : number * kParts + part + 1;
}

/// Where a longer sweep begins, if this is one.
std::optional<std::uint64_t> ReadFirstSeed() {
    const char* text = std::getenv("SALTROVE_FIRST_SEED");
    return text == nullptr ? std::nullopt : std::optional(std::strtoull(text, nullptr, 10));
}

GeneratedMachine GenerateFrom(std::uint64_t seed, unsigned mostPatches) {
    Dice dice(seed);
    return GenerateMachine(dice, mostPatches);
}

/// Tells of what was broken on the machine of a seed, and writes it as an image if a folder for
/// that is named.
void Report(const std::string& broken, std::uint64_t seed, unsigned mostPatches,
            const GeneratedMachine& generated, const std::string& fault = "") {
    if (broken.empty())
        return;
    const bool isMarker =
        generated.arguments.size() > 1 && generated.arguments[1] == u"usercontext";
    const std::string name = std::to_string(seed) + "-of-" + std::to_string(mostPatches) +
                             (isMarker ? "-usercontext" : "");
    ADD_FAILURE() << "machine " << name << fault << "\n" << broken;
    const char* folder = std::getenv("SALTROVE_KEEP");
    if (folder != nullptr && !fs::exists(fs::path(folder) / name))
        WriteGeneratedImage(generated, fs::path(folder) / name);
}

class GeneratedMachines : public testing::TestWithParam<std::uint64_t> {};

TEST_P(GeneratedMachines, KeepEveryPromiseOfARun) {
    constexpr std::uint64_t kMachines = 3200;
    for (std::uint64_t i = GetParam(); i < kMachines; i += kParts) {
        const std::uint64_t seed = ReadFirstSeed().value_or(1) + i;
        const unsigned most = seed % 16 == 0 ? 60 : 8;
        const GeneratedMachine generated = GenerateFrom(seed, most);
        const FinishedRun run = FinishRun(generated.machine, generated.arguments);
        Report(FindBrokenPromises(generated.machine, generated.arguments, run) +
                   FindBrokenPromisesBetweenRuns(generated),
               seed, most, generated);
    }
}

/// Runs on the machine with each of its calls failing in turn: once, and from there on, with each
/// error that it can give, and with it all calls behind it. The kinds that cost a package.
std::set<std::string> FailEveryCall(std::uint64_t seed, bool isMarker) {
    GeneratedMachine generated = GenerateFrom(seed, kSweptPatches);
    if (isMarker) {
        generated.arguments.resize(2);
        generated.arguments[1] = u"usercontext";
    }
    const FinishedRun without = FinishRun(generated.machine, generated.arguments);
    std::map<std::string, unsigned> made;
    std::set<std::string> losses;
    for (std::size_t place = 0; place < without.after.calls.size(); ++place) {
        constexpr unsigned kForGood = 0xFFFFFFFF;
        const std::string& call = without.after.calls[place].call;
        const unsigned number = ++made[call];
        std::vector<Fault> faults = {{"", u"", 5, static_cast<unsigned>(place + 1), kForGood}};
        for (const platform::DWORD code : GetPlausibleErrors(call)) {
            faults.push_back({call, u"", code, number, number});
            faults.push_back({call, u"", code, number, kForGood});
        }
        for (const Fault& fault : faults) {
            const std::string broken =
                FindBrokenPromisesBehind(generated, without, fault, place, losses);
            Report(broken, seed, kSweptPatches, generated,
                   ": " + call + " number " + std::to_string(number) + " gives " +
                       std::to_string(fault.code) +
                       (fault.call.empty()       ? ", as all calls from there on"
                        : fault.last == kForGood ? " from there on"
                                                 : ""));
        }
    }
    for (const std::string& kind : losses)
        Report(IsKnownLoss(kind) ? "" : "broken: a new kind of loss, " + kind + "\n", seed,
               kSweptPatches, generated);
    return losses;
}

TEST_P(GeneratedMachines, LosePackagesInKnownCasesAloneWhicheverCallFails) {
    std::map<std::string, unsigned> machines;
    for (std::uint64_t i = 0; i < kSweptOfPart; ++i) {
        const std::uint64_t seed = GetSweptSeed(GetParam(), i);
        for (const bool isMarker : {false, true})
            for (const auto& kind : FailEveryCall(ReadFirstSeed().value_or(0) + seed, isMarker))
                ++machines[kind];
    }
    for (const KnownLoss& loss : GetKnownLosses()) {
        const unsigned count = std::exchange(machines[std::string(loss.kind)], 0);
        EXPECT_TRUE(ReadFirstSeed() || count == loss.machines[GetParam()])
            << count << " machines lose a package when this fails: " << loss.kind;
    }
}

TEST_P(GeneratedMachines, KeepTheirPromisesToEachOtherWhicheverCallFails) {
    for (std::uint64_t i = 0; i < 8; ++i) {
        const std::uint64_t seed = ReadFirstSeed().value_or(0) + GetSweptSeed(GetParam(), i);
        const GeneratedMachine generated = GenerateFrom(seed, kSweptPatches);
        Report(FindBrokenPromisesBetweenFailingRuns(generated), seed, kSweptPatches, generated);
    }
}

INSTANTIATE_TEST_SUITE_P(Part, GeneratedMachines, testing::Range<std::uint64_t>(0, kParts));

TEST(GeneratedMachine, TheSweptOnesMakeEveryCallAndComeToEveryEnd) {
    std::set<std::string> swept;
    std::map<std::string, unsigned> ends;
    for (std::uint64_t i = 0; i < kParts * kSweptOfPart; ++i) {
        const std::uint64_t seed = GetSweptSeed(i % kParts, i / kParts);
        const GeneratedMachine generated = GenerateFrom(seed, kSweptPatches);
        const FinishedRun run = FinishRun(generated.machine, generated.arguments);
        for (const auto& call : run.after.calls)
            swept.insert(call.call);
        const saltrove::RunRecord& record = run.report.record;
        ends["marked"] += run.marked.empty() ? 0U : 1U;
        ends["deleted"] += run.deleted.empty() ? 0U : 1U;
        ends["would be deleted"] += record.simulate && !run.asked.empty() ? 1U : 0U;
        if (record.exitState)
            ++ends["state " + std::to_string(static_cast<int>(*record.exitState))];
    }
    for (const char* folder : {SALTROVE_SAMPLES, SALTROVE_IMAGES}) {
        for (const fs::path& path : FindImages(folder)) {
            const image::Image image = image::ReadImage(path);
            for (const auto& call : FinishRun(image.machine, image.arguments).after.calls)
                EXPECT_TRUE(swept.contains(call.call)) << call.call;
        }
    }
    const std::map<std::string, unsigned> least = {
        {"deleted", 30}, {"marked", 12}, {"would be deleted", 5}, {"state 0", 40}, {"state 2", 1},
        {"state 3", 5},  {"state 4", 5}, {"state 5", 5},          {"state 6", 5}};
    for (const auto& [end, machines] : least)
        EXPECT_GE(ends[end], machines) << end;
}

TEST(GeneratedMachine, LossesAreThoseThatAreTold) {
    const std::string page = ReadFile(SALTROVE_RELIABILITY);
    for (const KnownLoss& loss : GetKnownLosses()) {
        const unsigned count = std::accumulate(loss.machines.begin(), loss.machines.end(), 0U);
        const std::string row =
            "\n| `" + std::string(loss.kind) + "` | " + std::to_string(count) + " | ";
        EXPECT_NE(page.find(row), std::string::npos) << row;
    }
    std::size_t rows = 0;
    for (std::size_t at = 0; (at = page.find("\n| `", at)) != std::string::npos; ++at)
        ++rows;
    EXPECT_EQ(rows, GetKnownLosses().size());
}

TEST(GeneratedMachine, CanBeWrittenAsAnImageAndReplayed) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        const TemporaryFolder folder;
        const GeneratedMachine generated = GenerateFrom(seed, 8);
        WriteGeneratedImage(generated, folder.path);
        const image::Image image = image::ReadImage(folder.path);
        const FinishedRun run = FinishRun(generated.machine, generated.arguments);
        const FinishedRun again = FinishRun(image.machine, image.arguments);
        EXPECT_EQ(again.asked, run.asked);
        EXPECT_EQ(again.deleted, run.deleted);
        EXPECT_EQ(again.marked, run.marked);
        EXPECT_EQ(again.report.logBytes, run.report.logBytes);
    }
}

}  // namespace
}  // namespace test
