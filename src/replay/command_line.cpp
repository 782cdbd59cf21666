#include "replay/command_line.h"

#include "image/host_path.h"
#include "image/utc_time.h"
#include "platform/simulated/texts/unicode.h"

#include <getopt.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace replay {

const char* const kUsage = "usage: saltrove-replay [OPTION...] IMAGE... [-- ARGUMENT...]\n";

const char* const kHelp = R"(
Runs Saltrove on the machine that the image IMAGE describes, and prints the run
log and what the run changed. IMAGE itself is never changed. Of several images
it prints one line each, and their sum.

IMAGE is a folder; each part of it may be missing:
  machine.ini  the process, clock, sessions, processes and faults
  *.reg        registry exports, read in name order
  C/           drive C:
  args.txt     the command line, one argument a line

Options:
  --out DIR      write the machine as it is after the run to DIR, as an image;
                 DIR must be empty or not exist
  --explain      print why each package went or stayed, instead of the report
  --format FORM  the form of that: text (the default), json or html
  --log          as if the run log were on
  --force        as if policy forced the run: it goes past the interval and the
                 sample, and past a policy that forbids it
  --now TIME     as if it were TIME, in UTC, such as 2026-11-18T07:37:42Z
  -- ARGUMENT... the command line of the run, instead of args.txt
  --help         print this help
  --version      print the version

Exit status: that of the run, or 0 for several images; 64 for a wrong command
line, 65 for an image that cannot be read, 74 if DIR or the output cannot be
written. What makes an image look as though something else was meant is said on
standard error and changes nothing.
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

std::chrono::sys_time<std::chrono::milliseconds> ParseNow(const std::string& text) {
    const auto time = image::ParseUtc(DecodeUtf8(text).value_or(u""));
    if (!time)
        throw UsageError("--now: \"" + text +
                         "\" is not a time in UTC (such as 2026-11-18T07:37:42Z)");
    return *time;
}

ExplainFormat ParseFormat(const std::string& name) {
    if (name == "text")
        return ExplainFormat::Text;
    if (name == "json")
        return ExplainFormat::Json;
    if (name == "html")
        return ExplainFormat::Html;
    throw UsageError("--format: \"" + name + "\" is not text, json or html");
}

/// Reads the options in front of "--" with getopt_long, which reports nothing by itself here.
void ParseOwnOptions(std::vector<std::string> arguments, Options& options) {
    enum Option { kOut = 1, kLog, kForce, kNow, kExplain, kFormat, kHelpOption, kVersionOption };
    const option known[] = {{"out", required_argument, nullptr, kOut},
                            {"log", no_argument, nullptr, kLog},
                            {"force", no_argument, nullptr, kForce},
                            {"now", required_argument, nullptr, kNow},
                            {"explain", no_argument, nullptr, kExplain},
                            {"format", required_argument, nullptr, kFormat},
                            {"help", no_argument, nullptr, kHelpOption},
                            {"version", no_argument, nullptr, kVersionOption},
                            {nullptr, 0, nullptr, 0}};
    std::vector<char*> pointers(arguments.size() + 1);
    std::transform(arguments.begin(), arguments.end(), pointers.begin(),
                   [](std::string& argument) { return argument.data(); });
    const int count = static_cast<int>(arguments.size());
    bool isExplained = false;
    std::optional<ExplainFormat> format;
    optind = 0;  // starts a new scan
    opterr = 0;
    for (int found = 0; (found = getopt_long(count, pointers.data(), ":", known, nullptr)) != -1;) {
        switch (found) {
        case kOut:
            options.out = image::MakePath(optarg);
            break;
        case kLog:
            options.rehearsal.log = true;
            break;
        case kForce:
            options.rehearsal.force = true;
            break;
        case kNow:
            options.rehearsal.now = ParseNow(optarg);
            break;
        case kExplain:
            isExplained = true;
            break;
        case kFormat:
            format = ParseFormat(optarg);
            break;
        case kHelpOption:
            options.wantsHelp = true;
            break;
        case kVersionOption:
            options.wantsVersion = true;
            break;
        case ':':
            // Some systems tell so of a value that was given, too.
            if (optopt != kOut && optopt != kNow && optopt != kFormat)
                throw UsageError(std::string(pointers[static_cast<std::size_t>(optind - 1)]) +
                                 " takes no value");
            throw UsageError(std::string(pointers[static_cast<std::size_t>(optind - 1)]) +
                             " needs a value");
        default:
            // A short option is told by its letter, a long one by its place.
            if (optopt != 0 && optopt <= kVersionOption)
                throw UsageError(std::string(pointers[static_cast<std::size_t>(optind - 1)]) +
                                 " takes no value");
            throw UsageError((optopt != 0 ? std::string("-") + static_cast<char>(optopt)
                                          : pointers[static_cast<std::size_t>(optind - 1)]) +
                             std::string(" is not an option"));
        }
    }
    if (options.wantsHelp || options.wantsVersion)
        return;
    if (format && !isExplained)
        throw UsageError("--format needs --explain");
    if (isExplained)
        options.explain = format.value_or(ExplainFormat::Text);
    std::transform(pointers.begin() + optind, pointers.begin() + count,
                   std::back_inserter(options.images), image::MakePath);
    if (options.images.empty())
        throw UsageError("IMAGE is missing");
    if (options.images.size() > 1 && (options.out || options.explain))
        throw UsageError("--out and --explain are for one IMAGE alone");
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
