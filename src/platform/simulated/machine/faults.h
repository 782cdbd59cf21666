#pragma once

#include "platform/types.h"

#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Calls that fail although the machine would let them succeed.
namespace platform::simulated {

/// A failure laid over the machine's ordinary answers: calls named `call` about `subject` fail with
/// `code`, from the `first`th to the `last`th of them. An empty name or subject means any.
struct Fault {
    std::string call;
    std::u16string subject;
    DWORD code = 0;
    unsigned first = 1;
    unsigned last = std::numeric_limits<unsigned>::max();
    unsigned met = 0;  ///< how many such calls there were so far
};

/// What the subject of a fault about a file has to be: the path as Windows resolves it, or as it is
/// written where it cannot be resolved.
[[nodiscard]] std::u16string MakeFaultSubject(std::u16string_view path);

/// The faults of a machine, found quickly however many there are.
class FaultTable {
  public:
    void Add(Fault fault);
    /// Counts the call in every fault that it meets; the code with which it fails, if it does.
    std::optional<DWORD> Meet(std::string_view call, std::u16string_view subject);

  private:
    /// By call and by subject, the latter in one letter case.
    std::map<std::string, std::map<std::u16string, std::vector<Fault>>, std::less<>> faults_;
};

}  // namespace platform::simulated
