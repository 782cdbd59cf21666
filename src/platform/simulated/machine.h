#pragma once

#include "platform/simulated/drive.h"
#include "platform/simulated/installer_tree.h"
#include "platform/simulated/package_database.h"
#include "platform/simulated/registry_store.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
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

/// A failure laid over the machine's ordinary answers: calls named `call` about `subject` fail with
/// `code`, from the `first`th to the `last`th of them. An empty name or subject means any.
struct Fault {
    std::string call;
    std::u16string subject;
    DWORD code = 0;
    unsigned first = 1;
    unsigned last = std::numeric_limits<unsigned>::max();
    unsigned met = 0;  ///< how many such calls there were so far
};

/// What the subject of a fault about a file has to be: the path as Windows resolves it, or as it is
/// written where it cannot be resolved.
[[nodiscard]] std::u16string FaultSubject(std::u16string_view path);

/// The faults of a machine, found quickly however many there are.
class FaultTable {
  public:
    void Add(Fault fault);
    /// Counts the call in every fault that it meets; the code with which it fails, if it does.
    std::optional<DWORD> Meet(std::string_view call, std::u16string_view subject);

  private:
    using Place = std::pair<std::string, std::u16string>;  // call and subject, in one letter case
    std::map<Place, std::vector<Fault>> faults_;
};

/// One call as it was made: its subject (a full key path, a file path, a patch and a property, ...)
/// and its numeric arguments in their order.
struct CallRecord {
    std::string call;
    std::u16string subject;
    std::vector<std::uint64_t> numbers;
};

struct OpenKey {
    std::u16string path;
    DWORD access = 0;
};

/// A text-mode file that is open for appending, with what has not yet reached the drive.
struct OpenStream {
    std::u16string path;
    std::string held;
};

/// A search through a directory: the entries that are left to deliver, and their number so far.
struct OpenSearch {
    std::vector<std::u16string> paths;
    std::size_t next = 0;
};

/// A package that is open as a database; its file cannot be deleted meanwhile.
struct OpenDatabase {
    std::u16string path;
    std::shared_ptr<const PackageDatabase> database;
};

/// A prepared query. It delivers rows once it has been executed.
struct OpenView {
    OpenDatabase source;
    std::shared_ptr<const QueryResult> result;
    bool isExecuted = false;
    std::size_t nextRow = 0;
};

struct OpenRecord {
    OpenView view;
    std::size_t row = 0;
};

/// A process, a thread of one, a token or a snapshot of the processes that is open.
struct OpenHandle {
    enum class Kind { Process, Thread, Token, Snapshot };
    Kind kind = Kind::Process;
    DWORD access = 0;
    DWORD processId = 0;     ///< of a process or thread
    DWORD session = 0;       ///< of a token
    std::u16string account;  ///< of a token
    std::size_t next = 0;    ///< place in a snapshot
};

/// A piece of memory that a call gave and another takes back.
struct OpenBlock {
    enum class Kind { Heap, Sid, SessionList };
    Kind kind = Kind::Heap;
    std::shared_ptr<std::byte[]> bytes;
};

/// What the running process holds open, by handle or address.
struct OpenObjects {
    std::map<std::uintptr_t, OpenKey> keys;
    std::map<std::uintptr_t, OpenStream> streams;
    std::map<std::uintptr_t, std::u16string> modules;
    std::map<std::uintptr_t, std::string> locales;
    std::map<std::uintptr_t, OpenSearch> searches;
    std::map<std::uintptr_t, OpenDatabase> databases;
    std::map<std::uintptr_t, OpenView> views;
    std::map<std::uintptr_t, OpenRecord> records;
    std::map<std::uintptr_t, OpenHandle> handles;
    std::map<std::uintptr_t, OpenBlock> blocks;

    [[nodiscard]] std::size_t Count() const {
        return keys.size() + streams.size() + modules.size() + locales.size() + searches.size() +
               databases.size() + views.size() + records.size() + handles.size() + blocks.size();
    }
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

    /// Every simulated call begins with this, but for GetLastError, _towlower_l and calls with a
    /// handle that is not open: it counts, records, and gives the code of the fault that the call
    /// meets, if any. It also spoils the last error, which means nothing behind another call.
    std::optional<DWORD> BeginCall(std::string_view call, std::u16string_view subject = {},
                                   std::initializer_list<std::uint64_t> numbers = {});

    /// The same for a call about a file: a fault meets it in whichever form the path is written.
    std::optional<DWORD> BeginFileCall(std::string_view call, std::u16string_view path,
                                       std::initializer_list<std::uint64_t> numbers = {});

    /// A handle value that was never given before.
    std::uintptr_t MakeHandle();

    /// How often a call was made.
    [[nodiscard]] unsigned CallCount(std::string_view call) const;

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
[[nodiscard]] Machine& CurrentMachine();

/// Whether a simulated machine has this module, or with a function name that function of it.
[[nodiscard]] bool IsKnownExport(std::u16string_view module, std::string_view function);

}  // namespace platform::simulated
