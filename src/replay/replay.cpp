#include "replay/replay.h"

#include "image/image.h"
#include "image/image_error.h"
#include "log/run_log.h"
#include "platform/simulated/machine/machine.h"
#include "platform/simulated/texts/command_line.h"
#include "platform/simulated/texts/unicode.h"
#include "replay/report.h"
#include "run/run_driver.h"

#include <getopt.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace replay {

namespace fs = std::filesystem;

namespace {

using platform::simulated::DecodeUtf8;
using platform::simulated::Drive;
using platform::simulated::Machine;
using platform::simulated::MachineScope;
using platform::simulated::Registry;
using platform::simulated::SplitCommandLine;
using platform::simulated::StartedProcess;

constexpr const char* kUsage = "usage: saltrove-replay IMAGE [--out DIR] [-- ARGUMENT...]\n";

constexpr const char* kHelp = R"(
Runs Saltrove on the machine that the image IMAGE describes, and prints the run
log and what the run changed. IMAGE itself is never changed.

IMAGE is a folder; each part of it may be missing:
  machine.ini  the process, clock, sessions, processes and faults
  *.reg        registry exports, read in name order
  C/           drive C:
  args.txt     the command line, one argument a line

Options:
  --out DIR      write the machine as it is after the run to DIR, as an image;
                 DIR must be empty or not exist
  -- ARGUMENT... the command line of the run, instead of args.txt
  --help         print this help
  --version      print the version

Exit status: that of the run; 64 for a wrong command line, 65 for an image that
cannot be read, 74 if DIR or the output cannot be written.
)";

/// Why the command line of saltrove-replay makes no sense.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Options {
    bool wantsHelp = false;
    bool wantsVersion = false;
    fs::path image;
    std::optional<fs::path> out;
    std::optional<std::vector<std::u16string>> runArguments;
};

std::vector<std::u16string> DecodeArguments(std::vector<std::string>::const_iterator first,
                                            std::vector<std::string>::const_iterator last) {
    std::vector<std::u16string> decoded;
    for (; first != last; ++first) {
        std::optional<std::u16string> argument = DecodeUtf8(*first);
        if (!argument)
            throw UsageError("an argument of the run is not UTF-8");
        decoded.push_back(*std::move(argument));
    }
    return decoded;
}

/// Reads the options in front of "--" with getopt_long, which reports nothing by itself here.
void ParseOwnOptions(std::vector<std::string> arguments, Options& options) {
    enum Option { kOut = 1, kHelpOption, kVersionOption };
    const option known[] = {{"out", required_argument, nullptr, kOut},
                            {"help", no_argument, nullptr, kHelpOption},
                            {"version", no_argument, nullptr, kVersionOption},
                            {nullptr, 0, nullptr, 0}};
    std::vector<char*> pointers(arguments.size() + 1);
    std::transform(arguments.begin(), arguments.end(), pointers.begin(),
                   [](std::string& argument) { return argument.data(); });
    const int count = static_cast<int>(arguments.size());
    optind = 0;  // starts a new scan
    opterr = 0;
    for (int found = 0; (found = getopt_long(count, pointers.data(), ":", known, nullptr)) != -1;) {
        switch (found) {
        case kOut:
            options.out = optarg;
            break;
        case kHelpOption:
            options.wantsHelp = true;
            break;
        case kVersionOption:
            options.wantsVersion = true;
            break;
        case ':':
            throw UsageError("--out needs a value");
        default:
            // A short option is told by its letter, a long one by its place.
            throw UsageError((optopt != 0 ? std::string("-") + static_cast<char>(optopt)
                                          : pointers[static_cast<std::size_t>(optind - 1)]) +
                             std::string(" is not an option"));
        }
    }
    if (options.wantsHelp || options.wantsVersion)
        return;
    if (count - optind != 1)
        throw UsageError(count == optind ? "IMAGE is missing" : "more than one IMAGE");
    options.image = pointers[static_cast<std::size_t>(optind)];
}

Options ParseCommandLine(const std::vector<std::string>& arguments) {
    Options options;
    const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
    ParseOwnOptions({arguments.begin(), dashes}, options);
    if (dashes != arguments.end())
        options.runArguments = DecodeArguments(dashes + 1, arguments.end());
    return options;
}

/// Makes sure that writing to `out` can neither overwrite anything nor change the image.
void CheckOutFolder(const fs::path& image, const fs::path& out) {
    if (out.empty())
        throw UsageError("--out: the name of the folder is empty");
    if (fs::exists(out) && !fs::is_directory(out))
        throw UsageError("--out: " + out.string() + " is not a folder");
    if (fs::exists(out) && !fs::is_empty(out))
        throw UsageError("--out: " + out.string() + " is not empty");
    const fs::path inner = fs::weakly_canonical(fs::absolute(out));
    const fs::path outer = fs::weakly_canonical(fs::absolute(image));
    if (std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end())
        throw UsageError("--out: " + out.string() + " lies inside the image");
}

/// What the run log holds, of a file that may not be there.
std::string ReadLog(const Drive& drive) {
    const auto* node = drive.Find(saltrove::kRunLogPath);
    if (node == nullptr || node->isDirectory)
        return {};
    return platform::simulated::ReadContent(*node).value_or("");
}

/// Runs the program as one process of the machine.
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
        report.exitCode = saltrove::RunProgram(arguments);
    }
    report.leftOpen = machine.open.Count();
    machine.open = {};  // what a process leaves open ends with it
    report.badHandles = machine.badHandles - oldBadHandles;
    const std::string log = ReadLog(machine.drive);
    report.logBytes = log.substr(std::min(oldLogSize, log.size()));
    if (!report.logBytes.empty())
        report.logFate = LogFate::Written;
    else if (machine.CountCalls("_wfsopen") > oldOpenings)
        report.logFate = LogFate::NotWritten;
    report.changes = CompareMachines(registryBefore, driveBefore, machine);
    report.startedProcesses.assign(machine.startedProcesses.begin() +
                                       static_cast<std::ptrdiff_t>(oldProcesses),
                                   machine.startedProcesses.end());
    report.undecodedPackages = std::exchange(machine.undecodedPackages, {});
    return report;
}

/// Runs the program, and then every process that was started, each when the one that started it has
/// ended.
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

int ReplayImage(const Options& options, std::ostream& out, bool isColoured) {
    image::Image loaded = image::ReadImage(options.image);
    if (options.out)
        CheckOutFolder(options.image, *options.out);
    const RunReport report =
        RunOnMachine(loaded.machine, options.runArguments.value_or(loaded.arguments));
    out << FormatReport(report, isColoured);
    if (options.out)
        image::WriteImage(loaded.machine, options.image, *options.out);
    return report.run.exitCode;
}

}  // namespace

int RunReplay(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
              bool isColoured) {
    try {
        const Options options = ParseCommandLine(arguments);
        int status = 0;
        if (options.wantsHelp)
            out << kUsage << kHelp;
        else if (options.wantsVersion)
            out << "saltrove-replay " SALTROVE_VERSION "\n";
        else
            status = ReplayImage(options, out, isColoured);
        if (out.flush())
            return status;
        err << "saltrove-replay: the output cannot be written\n";
        return kExitCannotWrite;
    } catch (const UsageError& error) {
        err << "saltrove-replay: " << error.what() << "\n" << kUsage;
        return kExitUsage;
    } catch (const image::ImageError& error) {
        err << "saltrove-replay: " << error.what() << "\n";
        return kExitBadImage;
    } catch (const std::ios_base::failure& error) {
        err << "saltrove-replay: the image after the run cannot be written: " << error.what()
            << "\n";
        return kExitCannotWrite;
    } catch (const fs::filesystem_error& error) {
        err << "saltrove-replay: the image after the run cannot be written: " << error.what()
            << "\n";
        return kExitCannotWrite;
    }
}

}  // namespace replay
