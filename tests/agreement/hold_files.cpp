#include <fstream>
#include <iostream>
#include <limits>
#include <list>

/// Keeps files open until its input ends, as a program in which they are in use: they can be read
/// meanwhile, but not deleted. Says "held" once all are open.
int main(int argumentCount, char* arguments[]) {
    std::list<std::ifstream> files;
    for (int i = 1; i < argumentCount; ++i) {
        if (!files.emplace_back(arguments[i])) {
            std::cerr << "hold_files: " << arguments[i] << " cannot be opened\n";
            return 1;
        }
    }
    std::cout << "held" << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
    return 0;
}
