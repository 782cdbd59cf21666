#include "replay/machine_run.h"

#include "log/run_log.h"
#include "platform/simulated/texts/command_line.h"

#include <algorithm>
#include <utility>

namespace replay {

namespace {

using platform::simulated::Drive;
using platform::simulated::Machine;
using platform::simulated::MachineScope;
using platform::simulated::Registry;
using platform::simulated::SplitCommandLine;
using platform::simulated::StartedProcess;

/// What the run log holds, of a file that may not be there.
std::string ReadLog(const Drive& drive) {
    const auto* node = drive.Find(saltrove::kRunLogPath);
    if (node == nullptr || node->isDirectory)
        return {};
    return platform::simulated::ReadContent(*node);
}

}  // namespace

ProcessReport RunProcess(Machine& machine, const std::vector<std::u16string>& arguments) {
    const Registry registryBefore = machine.registry;
    const Drive driveBefore = machine.drive;
    const std::size_t oldLogSize = ReadLog(driveBefore).size();
    const unsigned oldOpenings = machine.CountCalls("_wfsopen");
    const std::size_t oldBadHandles = machine.badHandles;
    const std::size_t oldProcesses = machine.startedProcesses.size();

    ProcessReport report;
    {
        const MachineScope scope(machine);
        report.exitCode = saltrove::RunProgram(arguments, &report.record);
    }
    report.leftOpen = machine.open.Count();
    machine.open = {};  // what a process leaves open ends with it
    report.badHandles = machine.badHandles - oldBadHandles;
    report.logBytes = ReadLog(machine.drive);
    report.logBytes.erase(0, oldLogSize);
    if (!report.logBytes.empty())
        report.logFate = LogFate::Written;
    else if (machine.CountCalls("_wfsopen") > oldOpenings)
        report.logFate = LogFate::NotWritten;
    report.changes = image::CompareMachines(registryBefore, driveBefore, machine);
    report.startedProcesses.assign(machine.startedProcesses.begin() +
                                       static_cast<std::ptrdiff_t>(oldProcesses),
                                   machine.startedProcesses.end());
    report.undecodedPackages = std::exchange(machine.undecodedPackages, {});
    return report;
}

RunReport RunOnMachine(Machine& machine, std::vector<std::u16string> arguments) {
    arguments.insert(arguments.begin(), machine.process.module);
    RunReport report;
    report.run = RunProcess(machine, arguments);
    for (std::size_t i = 0; i < machine.startedProcesses.size(); ++i) {
        const StartedProcess started = machine.startedProcesses[i];
        machine.process.id = started.id;
        machine.process.account = started.account;
        machine.process.session = started.session;
        report.started.push_back(
            {started, RunProcess(machine, SplitCommandLine(started.commandLine))});
    }
    return report;
}

}  // namespace replay
