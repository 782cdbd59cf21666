#include "collect/command_line.h"

#include "collect/status.h"
#include "platform/simulated/texts/unicode.h"

#include <algorithm>

namespace collect {

namespace {

using platform::simulated::EncodeUtf8;

/// Checks an argument of the run, of which args.txt holds one a line.
void CheckRunArgument(const std::u16string& argument) {
    if (argument.find_first_of(u"\r\n") != std::u16string::npos ||
        platform::simulated::DecodeUtf8(EncodeUtf8(argument)) != argument)
        throw UsageError("an argument of the run has a line end, or half a character");
}

void CheckProductCode(const std::u16string& productCode) {
    if (!IsProductOfFamily(productCode))
        throw UsageError(EncodeUtf8(productCode) +
                         " is not a product code of the family, in braces and capitals");
}

/// Reads the command lines that ask for no image; whether it is one.
bool ParseQuestion(std::span<const std::u16string> own, Options& options) {
    if (own.empty() || (own[0] != u"--status" && own[0] != u"--removals"))
        return false;
    const bool isStatus = own[0] == u"--status";
    if (own.size() != (isStatus ? 2 : 3))
        throw UsageError(EncodeUtf8(own[0]) + (isStatus ? " takes a product code, and nothing else"
                                                        : " takes a product code and a version"));
    CheckProductCode(own[1]);
    if (isStatus)
        options.status = own[1];
    else
        options.removals = {own[1], own[2]};
    return true;
}

void ParseOwnArgument(const std::u16string& argument, Options& options) {
    if (argument == u"--with-packages")
        options.withPackages = true;
    else if (argument == u"--help" || argument == u"/?")
        options.wantsHelp = true;
    else if (argument == u"--version")
        options.wantsVersion = true;
    else if (argument.starts_with(u'-'))
        throw UsageError(EncodeUtf8(argument) + " is not an option");
    else if (!options.folder.empty())
        throw UsageError("more than one DIR");
    else if (argument.empty())
        throw UsageError("the name of DIR is empty");
    else
        options.folder = argument;
}

}  // namespace

const char* const kUsage = "usage: saltrove-collect DIR [--with-packages] [-- ARGUMENT...]\n"
                           "       saltrove-collect --status PRODUCTCODE\n"
                           "       saltrove-collect --removals PRODUCTCODE PRODUCTVERSION\n";

const char* const kHelp = R"(
Writes the machine that it runs on to the folder DIR as a machine image, on
which saltrove-replay rehearses a run of Saltrove. To be run as administrator.
It changes nothing on the machine but DIR.

An image holds the registry values that a run reads or writes, the names, sizes
and descriptions of the patch packages, the end of the run log, the sessions and
the signed-in users' shells. The packages themselves stay behind.

DIR               a folder that is empty or does not exist yet
--with-packages   put the packages into the image as well
-- ARGUMENT...    the command line of the run, for the image

Or prints, and changes nothing at all:

--status          how the last run for the product ended, how long ago the last
                  cleanup was and what waits for the restart, as a line of JSON
--removals        the paths of the packages that a run would remove now if
                  nothing forbade it, a line each

--help            print this help
--version         print the version

Exit status: 0 if the image is complete; 1 if something could not be read, of
which each has a line, or a run could not work out which patches to keep; 64 for
a wrong command line; 70 if it had to break off, as for want of memory; 74 if DIR
cannot be written, in which case nothing is left of it.
)";

Options ParseCommandLine(std::span<const std::u16string> arguments) {
    Options options;
    const auto own = arguments.subspan(std::min<std::size_t>(1, arguments.size()));
    if (ParseQuestion(own, options))
        return options;
    const auto dashes = std::find(own.begin(), own.end(), u"--");
    std::for_each(own.begin(), dashes,
                  [&](const std::u16string& argument) { ParseOwnArgument(argument, options); });
    if (dashes != own.end()) {
        options.runArguments.emplace(dashes + 1, own.end());
        std::ranges::for_each(*options.runArguments, CheckRunArgument);
    }
    if (options.folder.empty() && !options.wantsHelp && !options.wantsVersion)
        throw UsageError("DIR is missing");
    return options;
}

}  // namespace collect
