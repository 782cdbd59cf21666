#pragma once

#include "platform/simulated/machine/machine.h"

#include <string>

/// Machines with many packages.
namespace bench {

inline const std::u16string kProduct = u"{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}";
inline const std::u16string kCache = u"C:\\Windows\\Installer\\";

/// The dotted version of the patch with a number, counted from 0.
std::u16string GetVersion(std::size_t number);

/// A machine that may be cleaned, with `patches` patches of kProduct and as many orphans if there
/// are to be any. The product stands on the last patch but one, an incremental one; its base lies
/// in the middle. So a run removes the packages below that, keeps those above it, and removes the
/// orphans. Of linked packages there are some bytes, of orphans what is read in them.
platform::simulated::Machine MakeMachine(std::size_t patches, bool hasOrphans, bool hasLog);

}  // namespace bench
