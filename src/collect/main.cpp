#include "collect/collect.h"
#include "platform/console.h"
#include "platform/entry.h"

#include <iostream>

int platform::ProgramMain(std::span<const std::u16string> arguments) {
    // Names are written in UTF-8. A console keeps its code page behind the program's end.
    const UINT codePage = GetConsoleOutputCP();
    (void)SetConsoleOutputCP(CP_UTF8);
    int status = collect::RunCollect(arguments, std::cout, std::cerr);
    // Half a list would be taken for a whole one.
    if (!std::cout.flush())
        status = collect::kExitCannotWrite;
    (void)SetConsoleOutputCP(codePage);
    return status;
}
