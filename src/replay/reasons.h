#pragma once

#include "run/run_driver.h"

#include <string>

/// What decided, as sentences without a capital and a full stop, if nothing else is said.
namespace replay {

/// Why linked cleanup kept, left or removed a patch's package, and what failed at its removal.
[[nodiscard]] std::u16string DescribeDecision(const saltrove::PatchDecision& decision,
                                              const saltrove::Plan& plan);

/// What an entry of the cache folder is and why, and what failed at its removal. `linked` is the
/// list that its phase went by.
[[nodiscard]] std::u16string DescribeEntry(const saltrove::CacheEntry& entry,
                                           const saltrove::LinkedList& linked);

/// Why linked cleanup gives up, without a capital and a full stop.
[[nodiscard]] std::u16string_view DescribeSkip(std::optional<saltrove::SkipReason> reason);

/// "PATCH of PRODUCT".
[[nodiscard]] std::u16string DescribePatch(const saltrove::EnumeratedPatch& patch);

/// What linked cleanup went by: a whole sentence.
[[nodiscard]] std::u16string DescribeBoundaries(const saltrove::Boundaries& boundaries);

/// How a run ended: one or two whole sentences.
[[nodiscard]] std::u16string DescribeEnding(const saltrove::RunRecord& record, int exitCode);

}  // namespace replay
