#pragma once

#include "platform/simulated/machine/machine.h"
#include "platform/types.h"

#include <string>
#include <string_view>
#include <vector>

/// What is collected of the machine that the platform's calls are made on.
namespace collect {

/// The machine as far as it has been collected, and what could not be.
struct Collected {
    platform::simulated::Machine machine;
    std::vector<std::string> gaps;  ///< one line each, in UTF-8
};

/// Notes that something could not be read: what it is, its place or name, and Windows' error, 0 if
/// it is not for an error.
void NoteGap(Collected& collected, const std::string& what, std::u16string_view place,
             platform::DWORD error);

}  // namespace collect
