#include "platform/console.h"
#include "platform/entry.h"
#include "platform/simulated/texts/unicode.h"
#include "replay/replay.h"

#include <iostream>
#include <string>
#include <vector>

// saltrove-replay on Windows: its texts are in UTF-8, whatever the code page of the console.
int platform::ProgramMain(std::span<const std::u16string> arguments) {
    std::vector<std::string> texts;
    texts.reserve(arguments.size());
    for (const std::u16string& argument : arguments)
        texts.push_back(simulated::EncodeUtf8(argument));
    const UINT codePage = GetConsoleOutputCP();
    (void)SetConsoleOutputCP(CP_UTF8);
    const int status = replay::RunReplay(texts, std::cout, std::cerr, false);
    std::cout.flush();
    (void)SetConsoleOutputCP(codePage);
    return status;
}
