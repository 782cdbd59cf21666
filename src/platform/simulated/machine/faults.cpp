#include "platform/simulated/machine/faults.h"

#include "platform/simulated/machine/full_path.h"
#include "platform/simulated/texts/letter_case.h"

#include <set>

namespace platform::simulated {

std::u16string MakeFaultSubject(std::u16string_view path) {
    return ResolvePath(path).value_or(std::u16string(path));
}

void FaultTable::Add(Fault fault) {
    Place place(fault.call, FoldCase(fault.subject));
    faults_[std::move(place)].push_back(std::move(fault));
}

std::optional<DWORD> FaultTable::Meet(std::string_view call, std::u16string_view subject) {
    std::optional<DWORD> code;
    if (faults_.empty())
        return code;
    const std::string name(call);
    const std::u16string folded = FoldCase(subject);
    // A set, since without a subject two of these are the same place.
    const std::set<Place> places = {{name, folded}, {name, u""}, {"", folded}, {"", u""}};
    for (const Place& place : places) {
        const auto found = faults_.find(place);
        if (found == faults_.end())
            continue;
        for (Fault& fault : found->second) {
            ++fault.met;
            if (!code && fault.met >= fault.first && fault.met <= fault.last)
                code = fault.code;
        }
    }
    return code;
}

}  // namespace platform::simulated
