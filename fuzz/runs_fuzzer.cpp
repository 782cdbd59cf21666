#include "support/run_promises.h"

#include <iostream>

/// Makes a machine of libFuzzer's bytes, and a call on it that fails. No input may make a run on it
/// break a promise, or lose a package in another way than the known ones.

namespace {

using namespace test;

/// What is broken when the call at `place` fails in the way that was chosen.
std::string FailCall(const GeneratedMachine& generated, const FinishedRun& without,
                     std::size_t place, unsigned choice) {
    const auto& calls = without.after.calls;
    const std::vector<platform::DWORD> codes = GetPlausibleErrors(calls[place].call);
    Fault fault = MakeFault(calls, place, codes[choice / 2 % codes.size()]);
    if (choice % 2 != 0)
        fault.last = 0xFFFFFFFF;
    std::set<std::string> losses;
    std::string broken = FindBrokenPromisesBehind(generated, without, fault, place, losses);
    for (const std::string& kind : losses)
        broken += IsKnownLoss(kind) ? "" : "a new kind of loss: " + kind + "\n";
    return broken;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Dice dice(std::span(data, size));
    const std::size_t place = dice.Roll(1024);
    const unsigned choice = dice.Roll(256);
    const GeneratedMachine generated = GenerateMachine(dice, 6);
    const FinishedRun run = FinishRun(generated.machine, generated.arguments);
    std::string broken = FindBrokenPromises(generated.machine, generated.arguments, run);
    if (place >= run.after.calls.size())
        broken += FindBrokenPromisesBetweenRuns(generated);
    else if (choice >= 128)
        broken += FindBrokenPromisesBetweenFailingRuns(generated, place, place + 1);
    else
        broken += FailCall(generated, run, place, choice);
    if (!broken.empty()) {
        std::cerr << broken;
        __builtin_trap();
    }
    return 0;
}
