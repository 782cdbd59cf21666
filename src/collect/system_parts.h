#pragma once

#include "collect/collected.h"

namespace collect {

/// Collects what is neither registry nor file: the account and session of the calling process, the
/// time, the Windows folder, which modules and functions are missing, the sessions, and of the
/// processes those that run the program which a run would take for the user's shell. Where the
/// program of a run lies is not known.
void CollectSystem(Collected& collected);

}  // namespace collect
