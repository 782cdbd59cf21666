#include "cleanup/linked_cleanup.h"
#include "cleanup/orphan_cleanup.h"
#include "floor.h"
#include "image/image.h"
#include "log/run_log.h"
#include "machines.h"
#include "memory.h"
#include "run/run_driver.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

/// Measures the phases and a whole run beside their floor, and holds the ratios against targets.
namespace bench {

namespace {

using platform::simulated::Machine;
using platform::simulated::MachineScope;

constexpr std::size_t kFewest = 1000;
constexpr double kMostGrowth = 12;
constexpr double kMostBytes = 1024;

/// A part of the program, and the calls that it makes.
struct Subject {
    const char* name;
    void (*program)(std::size_t patches);
    void (*floor)(const Script& script);
};

void RunLinked(std::size_t patches) {
    (void)saltrove::RunLinkedPhase(kProduct, GetVersion(patches - 2), false);
}

void RunOrphans(std::size_t /*patches*/) {
    (void)saltrove::RunOrphanPhase(false);
}

void RunAll(std::size_t patches) {
    const std::u16string arguments[] = {u"Saltrove.exe", kProduct, GetVersion(patches - 2)};
    (void)saltrove::RunProgram(arguments);
}

constexpr Subject kSubjects[] = {
    {"linked cleanup", RunLinked, MakeLinkedCalls},
    {"orphan cleanup", RunOrphans, MakeOrphanCalls},
    {"whole run", RunAll, MakeRunCalls},
};

/// A machine like this that shares no file with it, so that the first deletion copies none.
Machine CopyMachine(const Machine& machine) {
    Machine copy = machine;
    copy.drive.AddFile(kCache + u"own.tmp", "");
    copy.drive.Remove(kCache + u"own.tmp");
    return copy;
}

/// Has `body` act on the machine; the seconds of the processor's time that it takes. What earlier
/// runs gave back to the heap is not there, as in a process that begins.
template <typename Body>
double Measure(Machine& machine, Body body) {
    const MachineScope scope(machine);
    malloc_trim(0);
    const std::clock_t start = std::clock();
    body();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Has `body` act on a machine like this; the most bytes that it takes at once. What the machine
/// gives back when a file goes does not make up for them.
template <typename Body>
double CountMemory(const Machine& machine, Body body) {
    Machine copy = CopyMachine(machine);
    const MachineScope scope(copy);
    StartCounting();
    body();
    return static_cast<double>(StopCounting());
}

void RunWithLog(const Subject& subject, std::size_t patches, bool hasLog) {
    saltrove::TurnRunLog(hasLog);
    subject.program(patches);
    saltrove::CloseRunLog();
}

/// Ends the program if the floor's calls are not those of the subject, one for one.
void CompareCalls(const Machine& machine, const Subject& subject, bool hasLog,
                  const Script& script) {
    Machine ofProgram = machine;
    Machine ofFloor = machine;
    ofProgram.recordsCalls = ofFloor.recordsCalls = true;
    Measure(ofProgram, [&] { RunWithLog(subject, script.linked.size(), hasLog); });
    Measure(ofFloor, [&] { subject.floor(script); });
    const auto differing = std::mismatch(
        ofProgram.calls.begin(), ofProgram.calls.end(), ofFloor.calls.begin(), ofFloor.calls.end(),
        [](const auto& a, const auto& b) {
            return a.call == b.call && a.subject == b.subject && a.numbers == b.numbers;
        });
    if (differing.first == ofProgram.calls.end() && differing.second == ofFloor.calls.end())
        return;
    std::cerr << "bench: " << subject.name << ": another floor than the program's from call "
              << differing.first - ofProgram.calls.begin() << " on\n";
    std::exit(EXIT_FAILURE);
}

double GetMedian(std::vector<double> numbers) {
    const auto middle = numbers.begin() + std::ssize(numbers) / 2;
    std::nth_element(numbers.begin(), middle, numbers.end());
    return *middle;
}

struct Row {
    std::string name;
    std::size_t patches = 0;
    double most = 0;  ///< times the floor
    double seconds = 0;
    double floor = 0;
    double ratio = 0;
    double growth = 0;       ///< times the time of a tenth of the patches; 0 if not measured
    double floorGrowth = 0;  ///< the floor's
    double bytes = 0;        ///< for each linked patch
};
std::vector<Row> rows;

/// The mean time of ten runs on a machine.
template <typename Body>
double MeasureTen(const Machine& machine, Body body) {
    double seconds = 0;
    for (int run = 0; run < 10; ++run) {
        Machine copy = CopyMachine(machine);
        seconds += Measure(copy, body);
    }
    return seconds / 10;
}

/// What is found out beforehand for the floor of a run on the machine.
Script MakeScriptOf(const Machine& machine, const Subject& subject, std::size_t patches,
                    bool hasLog) {
    Machine done = machine;
    Measure(done, [&] { RunWithLog(subject, patches, hasLog); });
    return MakeScript(machine, done);
}

/// Measures the floor and the program in turns, each on a machine of its own.
void MeasureSubject(benchmark::State& state) {
    const Subject& subject = kSubjects[state.range(0)];
    const bool hasLog = state.range(1) != 0;
    const auto patches = static_cast<std::size_t>(state.range(2));
    const Machine machine = MakeMachine(patches, true, hasLog);
    const Machine tenth = MakeMachine(patches / 10, true, hasLog);
    const Script script = MakeScriptOf(machine, subject, patches, hasLog);
    const Script ofTenth = MakeScriptOf(tenth, subject, patches / 10, hasLog);
    if (patches == kFewest)
        CompareCalls(machine, subject, hasLog, script);
    std::vector<double> seconds;
    std::vector<double> floors;
    std::vector<double> ratios;
    std::vector<double> growths;
    std::vector<double> floorGrowths;
    bool isFloorFirst = false;
    for (auto iteration : state) {
        (void)iteration;
        double program = 0;
        double floor = 0;
        for (const bool isFloor : {isFloorFirst, !isFloorFirst}) {
            Machine copy = CopyMachine(machine);
            if (isFloor)
                floor = Measure(copy, [&] { subject.floor(script); });
            else
                program = Measure(copy, [&] { RunWithLog(subject, patches, hasLog); });
        }
        isFloorFirst = !isFloorFirst;
        state.SetIterationTime(program);
        seconds.push_back(program);
        floors.push_back(floor);
        ratios.push_back(program / floor);
        if (patches == kFewest)
            continue;
        growths.push_back(program /
                          MeasureTen(tenth, [&] { RunWithLog(subject, patches / 10, hasLog); }));
        floorGrowths.push_back(floor / MeasureTen(tenth, [&] { subject.floor(ofTenth); }));
    }
    Row row{.name = std::string(subject.name) + (hasLog ? ", log on" : ", log off"),
            .patches = patches,
            .most = hasLog ? 1.6 : 1.3};
    row.seconds = GetMedian(seconds);
    row.floor = GetMedian(floors);
    row.ratio = GetMedian(ratios);
    const double bytes = CountMemory(machine, [&] { RunWithLog(subject, patches, hasLog); }) -
                         CountMemory(machine, [&] { subject.floor(script); });
    row.bytes = bytes / static_cast<double>(patches);
    if (!growths.empty()) {
        row.growth = GetMedian(growths);
        row.floorGrowth = GetMedian(floorGrowths);
    }
    rows.push_back(row);
}

BENCHMARK(MeasureSubject)
    ->ArgNames({"subject", "log", "patches"})
    ->ArgsProduct({{0, 1, 2}, {0, 1}, {1000, 10'000, 100'000}})
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// Prints the table; whether all targets are met.
bool ReportRows() {
    bool isGood = true;
    std::puts(
        "\n| | Patches | Program, ms | Floor, ms | Times the floor | Times the time of a tenth"
        " | The floor, times | Bytes a patch |\n|---|---|---|---|---|---|---|---|");
    const auto hold = [&](const char* unit, double number, double most) {
        isGood = isGood && number <= most;
        std::printf(unit, number, number <= most ? "" : " (too much)");
    };
    for (const Row& row : rows) {
        std::printf("| %s | %zu | %.1f | %.1f", row.name.c_str(), row.patches, row.seconds * 1e3,
                    row.floor * 1e3);
        hold(" | %.2f%s", row.ratio, row.most);
        if (row.growth == 0) {
            std::printf(" | |");
        } else {
            hold(" | %.1f%s", row.growth, kMostGrowth);
            std::printf(" | %.1f", row.floorGrowth);
        }
        hold(" | %.0f%s |\n", row.bytes, kMostBytes);
    }
    return isGood;
}

/// Writes an image of a machine with that many patches, and as many files.
int WriteImage(const std::string& patches, const char* folder) {
    const std::size_t count = std::stoul(patches);
    image::Image image{MakeMachine(count, false, false), {kProduct, GetVersion(count - 2)}};
    image::WriteNewImage(std::move(image), true, folder, nullptr);
    return EXIT_SUCCESS;
}

int Run(int argc, char** argv) {
    if (argc == 4 && std::string(argv[1]) == "image")
        return WriteImage(argv[2], argv[3]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return ReportRows() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
    return bench::Run(argc, argv);
}
