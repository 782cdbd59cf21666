#include "platform/simulated/machine/faults.h"

#include "platform/simulated/machine/full_path.h"
#include "platform/simulated/texts/letter_case.h"

namespace platform::simulated {

std::u16string MakeFaultSubject(std::u16string_view path) {
    return ResolvePath(path).value_or(std::u16string(path));
}

void FaultTable::Add(Fault fault) {
    std::u16string subject = FoldCase(fault.subject);
    faults_[fault.call][std::move(subject)].push_back(std::move(fault));
}

std::optional<DWORD> FaultTable::Meet(std::string_view call, std::u16string_view subject) {
    std::optional<DWORD> code;
    const auto meet = [&code](std::vector<Fault>& faults) {
        for (Fault& fault : faults) {
            ++fault.met;
            if (!code && fault.met >= fault.first && fault.met <= fault.last)
                code = fault.code;
        }
    };
    for (const std::string_view name : {std::string_view(), call}) {
        const auto found = faults_.find(name);
        if (found == faults_.end())
            continue;
        // Those about any subject stand first.
        auto& bySubject = found->second;
        if (bySubject.begin()->first.empty())
            meet(bySubject.begin()->second);
        if (subject.empty() || bySubject.rbegin()->first.empty())
            continue;
        if (const auto named = bySubject.find(FoldCase(subject)); named != bySubject.end())
            meet(named->second);
    }
    return code;
}

}  // namespace platform::simulated
