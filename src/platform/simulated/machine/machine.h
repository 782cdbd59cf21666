#pragma once

#include "platform/simulated/machine/drive.h"
#include "platform/simulated/machine/faults.h"
#include "platform/simulated/machine/installer_tree.h"
#include "platform/simulated/machine/open_objects.h"
#include "platform/simulated/machine/registry_store.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// A machine in memory, on which the platform calls act where there is no Windows.
///
/// A `Machine` is plain data that a test builds in a few lines and an image loads and saves. It
/// knows what is open on it, counts and, on request, records what was asked of it, and can fail any
/// call.
namespace platform::simulated {

/// The process whose calls these are. It is not among the machine's list of processes.
struct Process {
    DWORD id = 1001;
    std::u16string account = u"S-1-5-18";  ///< its SID, LocalSystem's unless something else is said
    DWORD session = 0;
    std::u16string module = u"C:\\Windows\\Temp\\Saltrove.exe";
};

/// The clock. It stands still at `utc`, or shows the host's time where that is empty.
struct Clock {
    std::optional<std::chrono::sys_time<std::chrono::milliseconds>> utc;
    std::chrono::minutes offset{0};      ///< local time less UTC
    std::chrono::nanoseconds steady{0};  ///< the monotonic clock's reading while `utc` is set ...
    std::chrono::nanoseconds perReading{0};  ///< ... and by how much each reading of it goes ahead
};

/// A module, or a function of one if `function` is not empty, that cannot be had.
struct MissingExport {
    std::u16string module;
    std::string function;
};

struct Session {
    DWORD id = 0;
    bool isActive = false;
};

/// A process that runs beside the tool.
struct OtherProcess {
    DWORD id = 0;
    DWORD session = 0;
    std::u16string account;
    std::u16string imagePath;
};

/// A process that the tool started.
struct StartedProcess {
    DWORD id = 0;
    DWORD session = 0;
    std::u16string account;
    std::u16string commandLine;
};

/// A package that could not be opened although it is sound, since it is in a code page that this
/// machine does not know. A real one might.
struct UndecodedPackage {
    std::u16string path;
    std::uint32_t codePage = 0;
};

/// One call as it was made: its subject (a full key path, a file path, a patch and a property, ...)
/// and its numeric arguments in their order.
struct CallRecord {
    std::string call;
    std::u16string subject;
    std::vector<std::uint64_t> numbers;
};

struct Machine {
    Registry registry;
    Drive drive;
    Process process;
    Clock clock;
    std::u16string windowsDirectory = u"C:\\Windows";
    std::vector<MissingExport> missing;
    std::vector<Session> sessions;
    std::vector<OtherProcess> processes;
    std::vector<StartedProcess> startedProcesses;
    std::vector<UndecodedPackage> undecodedPackages;  ///< in the order in which they were tried
    FaultTable faults;

    OpenObjects open;
    std::map<std::uintptr_t, std::u16string> residentModules;  ///< by handles that nobody closes
    std::uintptr_t lastHandle = 0x1000;
    std::size_t badHandles = 0;  ///< calls that were given a handle that is not open
    DWORD lastError = 0;

    std::map<std::string, unsigned, std::less<>> callCounts;
    bool recordsCalls = false;
    std::vector<CallRecord> calls;  ///< in order, if `recordsCalls`

    std::uint64_t soundRenames = 0;  ///< see RegisterDeletion
    InstallerTree installer;         ///< worked out from the registry, at need

    /// Every simulated call begins with this, but for GetLastError, _towlower_l and most calls with
    /// a handle that is not open: it counts, records, and gives the code of the fault that the call
    /// meets, if any. It also spoils the last error, which means nothing behind another call. A
    /// call that closes something closes it even if it is made to fail: the caller could not help a
    /// leak.
    std::optional<DWORD> BeginCall(std::string_view call, std::u16string_view subject = {},
                                   std::initializer_list<std::uint64_t> numbers = {});

    /// The same for a call of files.h, or of the C runtime, about one file: a fault meets it in
    /// whichever form the path is written.
    std::optional<DWORD> BeginFileCall(std::string_view call, std::u16string_view path,
                                       std::initializer_list<std::uint64_t> numbers = {});

    /// A handle value that was never given before.
    std::uintptr_t MakeHandle();

    /// How often a call was made.
    [[nodiscard]] unsigned CountCalls(std::string_view call) const;

    /// Whether a module, or with a function name that function of it, cannot be had.
    [[nodiscard]] bool IsMissing(std::u16string_view module, std::string_view function) const;

  private:
    std::optional<DWORD> Begin(std::string_view call, std::u16string_view subject,
                               std::initializer_list<std::uint64_t> numbers,
                               std::u16string_view faultSubject);
};

/// The machine that the platform calls act on, for the length of a scope. Scopes nest.
class MachineScope {
  public:
    explicit MachineScope(Machine& machine);
    ~MachineScope();
    MachineScope(const MachineScope&) = delete;
    MachineScope& operator=(const MachineScope&) = delete;

  private:
    Machine* outer_;
};

/// The machine of the innermost scope. There has to be one.
[[nodiscard]] Machine& GetCurrentMachine();

/// A function of a module that a machine has; the module's name is in capitals.
struct KnownExport {
    std::u16string_view module;
    std::string_view function;
};

/// All that a simulated machine has, those of a module beside each other.
[[nodiscard]] std::span<const KnownExport> GetKnownExports();

/// Whether a simulated machine has this module, or with a function name that function of it.
[[nodiscard]] bool IsKnownExport(std::u16string_view module, std::string_view function);

}  // namespace platform::simulated
