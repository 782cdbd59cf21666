#pragma once

#include <string>

namespace saltrove {

/// Turns the run log on if `EnablePatchCleanuplog` in the product's Cleanup key is a REG_DWORD of
/// 1, and off otherwise. To be called once in a run, before its first line.
void InitRunLog(const std::u16string& productCode);

}  // namespace saltrove
