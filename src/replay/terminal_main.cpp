#include "replay/replay.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    const bool isColoured = isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
    return replay::RunReplay(std::vector<std::string>(argv, argv + argc), std::cout, std::cerr,
                             isColoured);
}
