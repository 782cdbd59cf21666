#include "replay/command_line.h"

#include "platform/simulated/texts/unicode.h"

#include <getopt.h>

#include <algorithm>
#include <utility>

namespace replay {

const char* const kUsage = "usage: saltrove-replay IMAGE [--out DIR] [-- ARGUMENT...]\n";

const char* const kHelp = R"(
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

namespace {

using platform::simulated::DecodeUtf8;

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

}  // namespace

Options ParseCommandLine(const std::vector<std::string>& arguments) {
    Options options;
    const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
    ParseOwnOptions({arguments.begin(), dashes}, options);
    if (dashes != arguments.end())
        options.runArguments = DecodeArguments(dashes + 1, arguments.end());
    return options;
}

}  // namespace replay
