#include "collect/collect.h"
#include "platform/console.h"
#include "platform/entry.h"

#include <iostream>

int platform::ProgramMain(std::span<const std::u16string> arguments) {
    // Names are written in UTF-8. A console keeps its code page behind the program's end.
    const UINT codePage = GetConsoleOutputCP();
    (void)SetConsoleOutputCP(CP_UTF8);
    const int status = collect::RunCollect(arguments, std::cout, std::cerr);
    std::cout.flush();
    (void)SetConsoleOutputCP(codePage);
    return status;
}
