#include "platform/simulated/texts/command_line.h"

#include <algorithm>
#include <cstddef>

namespace platform::simulated {

namespace {

bool IsBlank(char16_t character) {
    return character == u' ' || character == u'\t';
}

/// Takes the program's name, in which quotes keep blanks together and backslashes mean nothing.
std::u16string TakeProgram(std::u16string_view& rest) {
    std::u16string program;
    bool isQuoted = false;
    for (; !rest.empty() && (isQuoted || !IsBlank(rest.front())); rest.remove_prefix(1)) {
        if (rest.front() == u'"')
            isQuoted = !isQuoted;
        else
            program += rest.front();
    }
    return program;
}

/// Takes the backslashes at the start of `rest` and, if they take its meaning, the quote behind
/// them.
void TakeBackslashes(std::u16string_view& rest, std::u16string& argument) {
    const std::size_t count = std::min(rest.find_first_not_of(u'\\'), rest.size());
    rest.remove_prefix(count);
    if (!rest.starts_with(u'"')) {
        argument.append(count, u'\\');
        return;
    }
    argument.append(count / 2, u'\\');
    if (count % 2 == 1) {
        argument += u'"';
        rest.remove_prefix(1);
    }
}

std::u16string TakeArgument(std::u16string_view& rest) {
    std::u16string argument;
    bool isQuoted = false;
    while (!rest.empty() && (isQuoted || !IsBlank(rest.front()))) {
        if (rest.front() == u'\\') {
            TakeBackslashes(rest, argument);
            if (!rest.starts_with(u'"'))
                continue;
        }
        if (isQuoted && rest.starts_with(u"\"\"")) {
            argument += u'"';
            rest.remove_prefix(2);
        } else if (rest.front() == u'"') {
            isQuoted = !isQuoted;
            rest.remove_prefix(1);
        } else {
            argument += rest.front();
            rest.remove_prefix(1);
        }
    }
    return argument;
}

}  // namespace

std::vector<std::u16string> SplitCommandLine(std::u16string_view commandLine) {
    std::vector<std::u16string> arguments = {TakeProgram(commandLine)};
    while (true) {
        while (!commandLine.empty() && IsBlank(commandLine.front()))
            commandLine.remove_prefix(1);
        if (commandLine.empty())
            return arguments;
        arguments.push_back(TakeArgument(commandLine));
    }
}

}  // namespace platform::simulated
