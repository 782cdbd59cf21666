#pragma once

#include "platform/simulated/machine/machine.h"

#include <initializer_list>
#include <optional>
#include <string_view>

namespace platform::simulated {

/// Begins a call into msi.dll: as Machine::BeginCall, and the call fails if the module or the
/// function cannot be had.
[[nodiscard]] std::optional<DWORD> BeginInstallerCall(Machine& machine, std::string_view call,
                                                      std::u16string_view subject,
                                                      std::initializer_list<std::uint64_t> numbers);

}  // namespace platform::simulated
