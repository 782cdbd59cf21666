#include "platform/entry.h"
#include "run/run_driver.h"

int platform::ProgramMain(std::span<const std::u16string> arguments) {
    return saltrove::RunProgram(arguments);
}
