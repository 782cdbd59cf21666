#pragma once

#include "collect/collected.h"
#include "collect/progress.h"

#include <functional>
#include <string>
#include <string_view>

namespace collect {

/// What opening a package and asking for its description gives.
[[nodiscard]] platform::simulated::PackageReading ReadPackage(const std::u16string& path);

/// Collects what a run finds in the package cache, each package by what reading it gives, and the
/// packages elsewhere of which a run would ask whether they are there. To be called when what
/// Windows Installer knows has been collected.
void CollectPackages(Collected& collected, Progress& progress);

/// Collects the run log, of which the last 64 KiB at most, from a line's beginning, and whether its
/// folder is there.
void CollectRunLog(Collected& collected);

/// Gives the bytes of the file at `path` to `take`, piece by piece; false if they cannot all be
/// read, which is noted.
bool CopyFile(Collected& collected, const std::u16string& path,
              const std::function<void(std::string_view)>& take);

}  // namespace collect
