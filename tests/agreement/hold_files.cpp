#include <algorithm>
#include <fstream>
#include <iostream>
#include <limits>
#include <vector>

/// Keeps files open until its input ends, as a program in which they are in use: they can be read
/// meanwhile, but not deleted. Says "held" if all could be opened.
int main(int argumentCount, char* arguments[]) {
    std::vector<std::ifstream> files(arguments + 1, arguments + argumentCount);
    if (std::ranges::all_of(files, [](const auto& file) { return file.is_open(); }))
        std::cout << "held" << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}
