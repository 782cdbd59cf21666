#pragma once

#include "log/run_log.h"
#include "platform/simulated/machine/machine.h"
#include "run/run_log_switch.h"

#include <string>
#include <vector>

/// Simulated machines in a few lines, runs on them, and what they leave as texts to compare.
namespace test {

using platform::DWORD;
using platform::simulated::Fault;
using platform::simulated::Machine;

/// A product of the family "Kelvane Ostrel" on the track ZR.
inline const std::u16string kProduct = u"{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}";
inline const std::u16string kMachineHive = u"HKEY_LOCAL_MACHINE\\";
inline const std::u16string kRoot = kMachineHive + u"SOFTWARE\\Kelvane\\Kelvane Ostrel\\ZR";
inline const std::u16string kStore = kRoot + u"\\Cleanup";
inline const std::u16string kCache = u"C:\\Windows\\Installer\\";
inline const std::u16string kLog = u"C:\\Windows\\Temp\\PatchCleanuplog.txt";

/// 2026-11-18 07:37:42 UTC, at which the clock of every machine made here stands still.
inline constexpr DWORD kNow = 1'794'987'462;

/// The bytes of a patch package whose description names the product family.
extern const std::string kOwnPackage;

struct Patch {
    DWORD state = 2;
    std::u16string displayName;
    std::u16string packageName;
    std::u16string file;  ///< name in the cache folder
};

/// The keys and codes of the patch with a number from 0 to 9.
std::u16string GetPatchCode(int number);
std::u16string GetSourceListKey(int number);
std::u16string GetPackageKey(int number);  ///< of LocalPackage
std::u16string GetStateKey(int number);    ///< of State and DisplayName

/// A machine that may be cleaned, with its run log on and no patches.
Machine MakeMachine();

/// Registers a patch of kProduct behind those that are there, and puts kOwnPackage on the drive as
/// its package.
void AddPatch(Machine& machine, int number, const Patch& patch);

/// Makes every read of a property of the patch fail.
void FailProperty(Machine& machine, int number, const std::u16string& property);

/// A machine on which a run removes 0.msp and 1.msp and keeps the others: 2.msp is the last
/// cumulative patch, 3.msp lies between, 4.msp is applied, version 24.3.20790, 5.msp is the latest.
Machine MakeIncrementalMachine();

/// Sets a value as a line of a registry export does, such as `"iRandom"=dword:1`.
void SetValue(Machine& machine, const std::u16string& keyPath, const std::string& line);

/// Makes calls on the machine fail, see platform::simulated::Fault.
void AddFault(Machine& machine, std::string call, std::u16string subject, DWORD code,
              unsigned first = 1, unsigned last = 0xFFFFFFFF);

void ExpectNothingOpen(const Machine& machine);

/// Runs the program with these arguments behind its name. Expects that it leaves nothing open.
int RunTool(Machine& machine, std::vector<std::u16string> arguments);

/// Runs `body` as a process whose run log is on, on the machine. Expects as RunTool does.
template <typename Body>
void RunWithLog(Machine& machine, Body body) {
    const platform::simulated::MachineScope scope(machine);
    saltrove::InitRunLog(kProduct);
    body();
    saltrove::CloseRunLog();
    ExpectNothingOpen(machine);
}

/// The numeric arguments of the first call of that name, or of all of them one behind the other, on
/// a machine that records its calls.
std::vector<std::uint64_t> FindNumbers(const Machine& machine, std::string_view call);
std::vector<std::uint64_t> FindAllNumbers(const Machine& machine, std::string_view call);

/// The bytes of the run log.
std::string ReadLogBytes(const Machine& machine);

/// The lines of the run log without time stamps; a line without one is marked with "!".
std::string ReadLogText(const Machine& machine);

/// The values of the Cleanup store, "name=data" a line, without the log switch.
std::string ReadStoreText(const Machine& machine);

}  // namespace test
