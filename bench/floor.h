#pragma once

#include "platform/simulated/machine/machine.h"

#include <string>
#include <vector>

/// The floor under the program: the platform calls that it makes on a machine of machines.h, in a
/// bare loop. Nothing is decided, and nothing but a handle or a buffer is kept from one call to the
/// next: what the program found out stands in a script, made beforehand.
namespace bench {

/// A package that is looked at.
struct Package {
    std::u16string path;
    std::u16string sourceListKey;  ///< of a linked one
    std::u16string description;    ///< of an orphan
    bool goes = false;
};

struct Script {
    std::vector<Package> linked;   ///< in the order of delivery
    std::vector<Package> entries;  ///< of the cache folder, when linked cleanup is done
    std::u16string removedNames;   ///< of the linked packages that go, joined by ";"
    platform::DWORD orphans = 0;
    std::u16string orphanNames;
    std::u16string version;        ///< of the product
    std::vector<std::string> log;  ///< its lines; none if it is off
};

/// The script of what the program did between two states of a machine.
Script MakeScript(const platform::simulated::Machine& before,
                  const platform::simulated::Machine& after);

void MakeLinkedCalls(const Script& script);
void MakeOrphanCalls(const Script& script);
void MakeRunCalls(const Script& script);

}  // namespace bench
